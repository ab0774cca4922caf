#include "NimbeSync/RecordMerger.h"

#include "NimbeSync/MergePolicy.h"
#include "NimbeSync/SyncRecordCodec.h"

namespace nimbe {
namespace {

constexpr std::size_t pageLength = 200;

MergePolicy::Contents compare(
    const SyncModel& local, const SyncModel& cloud, const SymmetricKey& key) {
    using enum MergePolicy::Contents;
    const auto* localItem = std::get_if<TranscriptItem>(&local);
    const auto* cloudItem = std::get_if<TranscriptItem>(&cloud);
    if (!localItem || !cloudItem) return local == cloud ? same : different;
    const auto here = SyncRecordCodec::opened(*localItem, key);
    const auto there = SyncRecordCodec::opened(*cloudItem, key);
    if (!here || !there || here->text != there->text) return different;
    if (here->originalText == there->originalText || !here->originalText) return same;
    return there->originalText ? different : localHasMore;
}

/// What tells the texts of a transcript from others; of one that another key sealed its bytes.
std::string contentOf(const TranscriptItem& item, const SymmetricKey& key) {
    const auto opened = SyncRecordCodec::opened(item, key);
    if (!opened) return {item.ciphertext.begin(), item.ciphertext.end()};
    return opened->text + '\0' + opened->originalText.value_or(std::string());
}

} // namespace

RecordMerger::RecordMerger(
    SyncDatabase& database, const std::optional<SymmetricKey>& key, LogSink& sink)
    : database(database), key(key), log(sink, "sync") {}

SyncResult<> RecordMerger::merge(const CloudRecord& record) {
    if (record.kind == SyncSchema::rawValue(SyncKind::transcript)) {
        // Most of what is pulled was pushed from here: it need not be opened.
        const auto local = database.read(SyncKind::transcript, record.id);
        if (!local) return failure(local.error());
        if (*local && !(*local)->mirror.isDirty && (*local)->mirror.revision == record.revision)
            return {};
    }
    auto cloud = key ? SyncRecordCodec::decode(record, *key) : std::nullopt;
    if (!cloud) return database.journal().keep(record);
    if (auto dropped = database.journal().drop(record.kind, record.id); !dropped) return dropped;
    return mergeOpened(std::move(*cloud));
}

SyncResult<> RecordMerger::mergeOpened(SyncRecord cloud) {
    using enum MergePolicy::Decision;
    // Kept from an earlier cloud: the one of now has yet to get it.
    cloud.mirror.isDirty = cloud.mirror.revision == 0;
    auto found = database.read(cloud.kind, cloud.id);
    if (!found) return failure(found.error());
    if (!*found) return take(cloud);
    auto& local = **found;
    MergePolicy::Input input{.isLocalDirty = local.mirror.isDirty,
        .isTranscript = cloud.kind == SyncKind::transcript,
        .local = {!local.model, local.mirror.changes},
        .cloud = {!cloud.model, cloud.mirror.changes}};
    if (local.model && cloud.model) input.contents = compare(*local.model, *cloud.model, *key);
    switch (MergePolicy::decide(input)) {
    case takeCloud: return take(cloud);
    case takeCloudAndCopy:
        if (auto copied = copy(local); !copied) return copied;
        return take(cloud);
    case keepLocal:
        local.mirror.revision = cloud.mirror.revision;
        local.mirror.changes = MergePolicy::follow(cloud.mirror.changes, local.mirror.changes);
        if (local.more.empty()) local.more = cloud.more;
        return database.write(local);
    }
    return {};
}

/// What was written here stays, as a transcript with an id of its own.
SyncResult<> RecordMerger::copy(const SyncRecord& transcript) {
    auto item = std::get<TranscriptItem>(*transcript.model);
    const auto content = contentOf(item, *key);
    for (;;) {
        item.id = SyncRecordCodec::copyId(item.id, content, *key);
        const auto id = item.id.text();
        auto found = database.read(SyncKind::transcript, id);
        if (!found) return failure(found.error());
        if (*found && (*found)->model) {
            const auto& there = std::get<TranscriptItem>(*(*found)->model);
            if (contentOf(there, *key) == content) return {}; // kept already
            continue; // an earlier copy of the same, which says something else by now
        }
        auto kept = found->value_or(SyncRecord{SyncKind::transcript, id});
        kept.model = std::move(item);
        kept.mirror.change();
        log.info("merge: two edits of one transcript, both are kept");
        return take(kept);
    }
}

SyncResult<> RecordMerger::take(const SyncRecord& record) {
    isChanged = true;
    return database.write(record);
}

SyncResult<> RecordMerger::settle(const SyncRecord& sent, const CloudDatabase::Pushed& answer) {
    auto found = database.read(sent.kind, sent.id);
    if (!found) return failure(found.error());
    if (!*found) return {};
    auto& local = **found;
    if (answer.isAccepted) {
        local.mirror.revision = answer.revision;
        // Changed again since: then that is still to be told.
        local.mirror.isDirty = local.mirror.changes != sent.mirror.changes;
        return database.write(local);
    }
    if (!answer.current) { // the cloud has lost it
        local.mirror.revision = 0;
        return database.write(local);
    }
    if (auto merged = merge(*answer.current); !merged) return merged;
    if (key && SyncRecordCodec::decode(*answer.current, *key)) return {};
    return yieldToForeign(local);
}

SyncResult<> RecordMerger::yieldToForeign(const SyncRecord& local) {
    if (local.kind == SyncKind::transcript) {
        if (local.model)
            if (auto copied = copy(local); !copied) return copied;
        isChanged = true;
        return database.erase(local.kind, local.id);
    }
    // It holds on this device alone. Its base stays the old one, so that no later change of
    // it goes over what cannot be read either.
    auto kept = local;
    kept.mirror.isDirty = false;
    return database.write(kept);
}

SyncResult<> RecordMerger::reopenForeign() {
    if (!key) return {};
    std::optional<std::pair<std::string, std::string>> after;
    for (;;) {
        const auto page = database.journal().foreign(after, pageLength);
        if (!page) return failure(page.error());
        for (const auto& record : *page) {
            if (!SyncRecordCodec::decode(record, *key)) continue;
            if (auto merged = merge(record); !merged) return merged;
        }
        if (page->size() < pageLength) return {};
        after = {page->back().kind, page->back().id};
    }
}

} // namespace nimbe
