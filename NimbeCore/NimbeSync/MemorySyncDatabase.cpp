#include "NimbeSync/MemorySyncDatabase.h"

#include <compare>
#include <tuple>

namespace nimbe {
namespace {

std::optional<SyncDatabase::Position> positionOf(const SyncRecord& record) {
    const auto* item = record.model ? std::get_if<TranscriptItem>(&*record.model) : nullptr;
    if (!item) return std::nullopt;
    return SyncDatabase::Position{item->createdAt, record.id};
}

} // namespace

bool MemorySyncDatabase::NewestFirst::operator()(
    const Position& left, const Position& right) const {
    const auto order =
        std::strong_order(right.createdAt.sinceReference, left.createdAt.sinceReference);
    return std::is_neq(order) ? std::is_lt(order) : right.id < left.id;
}

SyncResult<std::optional<SyncRecord>> MemorySyncDatabase::read(
    SyncKind kind, const std::string& id) {
    const std::lock_guard guard(lock);
    const auto found = records.find({kind, id});
    if (found == records.end()) return std::optional<SyncRecord>();
    return std::optional(found->second);
}

SyncResult<> MemorySyncDatabase::write(const SyncRecord& record) {
    const std::lock_guard guard(lock);
    put({record.kind, record.id}, record);
    return {};
}

SyncResult<> MemorySyncDatabase::erase(SyncKind kind, const std::string& id) {
    const std::lock_guard guard(lock);
    put({kind, id}, std::nullopt);
    return {};
}

void MemorySyncDatabase::put(
    const std::pair<SyncKind, std::string>& key, std::optional<SyncRecord> record) {
    std::optional<SyncRecord> previous;
    if (const auto found = records.find(key); found != records.end()) {
        if (const auto position = positionOf(found->second)) byTime.erase(*position);
        previous = std::move(found->second);
        records.erase(found);
    }
    if (record) {
        const auto& kept = records.emplace(key, std::move(*record)).first->second;
        if (const auto position = positionOf(kept)) byTime.emplace(*position, &kept);
    }
    keepForUndo([this, key, previous] { put(key, previous); });
}

void MemorySyncDatabase::putForeign(
    const std::pair<std::string, std::string>& key, std::optional<CloudRecord> record) {
    std::optional<CloudRecord> previous;
    if (const auto found = unread.find(key); found != unread.end()) {
        previous = std::move(found->second);
        unread.erase(found);
    }
    if (record) unread.emplace(key, std::move(*record));
    keepForUndo([this, key, previous] { putForeign(key, previous); });
}

void MemorySyncDatabase::keepForUndo(std::function<void()> step) {
    ++changes;
    if (depth > 0) undo.push_back(std::move(step));
}

SyncResult<std::vector<SyncModel>> MemorySyncDatabase::page(
    SyncKind kind, const std::optional<Position>& after, std::size_t limit) {
    const std::lock_guard guard(lock);
    std::vector<SyncModel> models;
    if (kind == SyncKind::transcript) {
        auto at = after ? byTime.upper_bound(*after) : byTime.begin();
        for (; at != byTime.end() && models.size() < limit; ++at)
            models.push_back(*at->second->model);
        return models;
    }
    auto at = after ? records.upper_bound({kind, after->id}) : records.lower_bound({kind, {}});
    for (; at != records.end() && at->first.first == kind && models.size() < limit; ++at)
        if (at->second.model) models.push_back(*at->second.model);
    return models;
}

SyncResult<> MemorySyncDatabase::transaction(const std::function<SyncResult<>()>& body) {
    const std::lock_guard guard(lock);
    ++depth;
    auto result = body();
    if (--depth > 0) return result;
    const auto steps = std::exchange(undo, {});
    if (!result)
        for (auto step = steps.rbegin(); step != steps.rend(); ++step) (*step)();
    return result;
}

SyncResult<std::int64_t> MemorySyncDatabase::version() {
    const std::lock_guard guard(lock);
    return changes;
}

SyncResult<MirrorJournal::State> MemorySyncDatabase::state() {
    const std::lock_guard guard(lock);
    return mirrored;
}

SyncResult<> MemorySyncDatabase::setState(const State& state) {
    const std::lock_guard guard(lock);
    const auto previous = std::exchange(mirrored, state);
    keepForUndo([this, previous] { mirrored = previous; });
    return {};
}

SyncResult<std::vector<SyncRecord>> MemorySyncDatabase::pending(
    const std::optional<std::pair<SyncKind, std::string>>& after, std::size_t limit) {
    const std::lock_guard guard(lock);
    std::vector<SyncRecord> dirty;
    auto at = after ? records.upper_bound(*after) : records.begin();
    for (; at != records.end() && dirty.size() < limit; ++at)
        if (at->second.mirror.isDirty) dirty.push_back(at->second);
    return dirty;
}

SyncResult<> MemorySyncDatabase::keep(const CloudRecord& foreign) {
    const std::lock_guard guard(lock);
    putForeign({foreign.kind, foreign.id}, foreign);
    return {};
}

SyncResult<> MemorySyncDatabase::drop(const std::string& kind, const std::string& id) {
    const std::lock_guard guard(lock);
    putForeign({kind, id}, std::nullopt);
    return {};
}

SyncResult<std::vector<CloudRecord>> MemorySyncDatabase::foreign(
    const std::optional<std::pair<std::string, std::string>>& after, std::size_t limit) {
    const std::lock_guard guard(lock);
    std::vector<CloudRecord> kept;
    auto at = after ? unread.upper_bound(*after) : unread.begin();
    for (; at != unread.end() && kept.size() < limit; ++at) kept.push_back(at->second);
    return kept;
}

SyncResult<> MemorySyncDatabase::offerAllAnew() {
    const std::lock_guard guard(lock);
    auto offered = records;
    for (auto& [key, record] : offered) {
        record.mirror.isDirty = true;
        if (record.mirror.revision > 0) record.mirror.revision = 0;
        put(key, record);
    }
    auto passed = unread;
    for (auto& [key, record] : passed) {
        record.revision = 0;
        putForeign(key, record);
    }
    return setState({});
}

} // namespace nimbe
