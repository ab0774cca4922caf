#include "NimbeKitCore/History/DictationHistory.h"

#include <algorithm>
#include <cmath>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

/// Entries of other stores may hold anything; what is kept here is UTF-8.
DictationEntry mended(DictationEntry entry) {
    entry.text = text::mended(std::move(entry.text));
    if (entry.originalText) entry.originalText = text::mended(std::move(*entry.originalText));
    return entry;
}

template <typename Record>
void trim(std::vector<Record>& records) {
    if (records.size() > DictationHistory::cap)
        records.erase(records.begin() + DictationHistory::cap, records.end());
}

/// The first record with the id.
auto find(std::vector<DictationEntry>& entries, const UUID& id) {
    return std::find_if(
        entries.begin(), entries.end(), [&](const auto& entry) { return entry.id == id; });
}

auto find(std::vector<TrashedEntry>& items, const UUID& id) {
    return std::find_if(
        items.begin(), items.end(), [&](const auto& item) { return item.entry.id == id; });
}

/// The first text stays with it until an edit brings it back.
void edit(DictationEntry& entry, const std::string& text) {
    if (!entry.originalText) entry.originalText = entry.text;
    if (entry.originalText == text) entry.originalText.reset();
    entry.text = text;
}

/// How many went.
std::size_t purge(std::vector<TrashedEntry>& items, Date now) {
    return std::erase_if(items, [&](const TrashedEntry& item) {
        return now.since(item.deletedAt) > DictationHistory::trashRetention;
    });
}

} // namespace

DictationHistory::DictationHistory(
    UserDefaults& defaults, LocalHistoryKeyStore& keyStore, LogSink& sink)
    : defaults(defaults), log(sink, "history"), vault(defaults, keyStore, sink) {}

DictationHistory::DictationHistory(UserDefaults& defaults, LogSink& sink)
    : ownKeyStore(std::make_unique<InMemoryLocalHistoryKeyStore>()), defaults(defaults),
      log(sink, "history"), vault(defaults, *ownKeyStore, sink) {}

DictationHistory::~DictationHistory() {
    vault.begin();
    (void)storeWaiting();
    if (!waiting.empty())
        log.error("history: entries that could not be stored are lost: %zu", waiting.size());
}

std::optional<HistoryProblem> DictationHistory::problem() const {
    const std::lock_guard guard(lock);
    return vault.problem();
}

/// Puts entries before all others, except those that are there.
bool DictationHistory::storeFirst(std::vector<DictationEntry> newestFirst) {
    return vault.changeSealed([&] {
        auto list = vault.load(entryList);
        if (!list) return false;
        auto& records = list->records;
        // A change that was reported as failed may have been kept all the same.
        std::erase_if(newestFirst,
            [&](const auto& entry) { return find(records, entry.id) != records.end(); });
        records.insert(records.begin(), newestFirst.begin(), newestFirst.end());
        return saveEntries(std::move(*list));
    });
}

/// False when nothing can be stored now.
bool DictationHistory::storeWaiting() {
    if (waiting.empty()) return true;
    if (storeFirst(waiting)) {
        log.info("history: entries that had waited are stored: %zu", waiting.size());
        waiting.clear();
        return true;
    }
    if (vault.problem()->kind != HistoryProblem::Kind::notStored) return false;
    // One that is too long for the disk must not keep the others from it.
    for (std::size_t i = waiting.size(); waiting.size() > 1 && i > 0; --i) {
        const auto oldest = waiting.begin() + static_cast<std::ptrdiff_t>(i - 1);
        if (storeFirst({*oldest})) waiting.erase(oldest);
    }
    return true;
}

DictationEntry DictationHistory::append(std::string text, DictationMode mode, Date now) {
    const std::lock_guard guard(lock);
    vault.begin();
    DictationEntry entry{UUID::random(), text::mended(std::move(text)), now, mode};
    bool isStored = storeWaiting();
    if (isStored) {
        vault.begin();
        isStored = storeFirst({entry});
    }
    // A date that cannot be written would keep all later entries from the disk.
    if (!isStored && std::isfinite(now.sinceReference)) {
        waiting.insert(waiting.begin(), entry);
        trim(waiting);
    }
    return entry;
}

std::vector<DictationEntry> DictationHistory::entries() {
    const std::lock_guard guard(lock);
    vault.begin();
    (void)storeWaiting();
    return readEntries();
}

std::vector<DictationEntry> DictationHistory::readEntries() {
    auto list = vault.load(entryList);
    if (!list) return waiting;
    auto& records = list->records;
    for (auto entry = waiting.rbegin(); entry != waiting.rend(); ++entry)
        if (find(records, entry->id) == records.end()) records.insert(records.begin(), *entry);
    trim(records);
    return std::move(records);
}

void DictationHistory::update(const UUID& id, std::string text) {
    const std::lock_guard guard(lock);
    vault.begin();
    text = text::mended(std::move(text));
    if (text::trimmed(text).empty()) return;
    (void)storeWaiting();
    if (const auto entry = find(waiting, id); entry != waiting.end()) return edit(*entry, text);
    vault.changeSealed([&] {
        auto list = vault.load(entryList);
        if (!list) return false;
        const auto entry = find(list->records, id);
        if (entry == list->records.end()) return true;
        edit(*entry, text);
        return saveEntries(std::move(*list));
    });
}

void DictationHistory::deleteEntry(
    const UUID& id, Date now, const std::optional<std::string>& original) {
    const std::lock_guard guard(lock);
    vault.begin();
    (void)storeWaiting();
    vault.changeSealed([&] { return discard(id, now, original); });
}

bool DictationHistory::saveEntries(Entries list) {
    trim(list.records);
    return vault.save(entryList, list);
}

/// The one list whose value goes when it is empty.
bool DictationHistory::saveTrash(const Trash& list) {
    if (!list.records.empty()) return vault.save(trashList, list);
    if (list.stored == HistoryVault::Stored::unreadable) return vault.setAside(trashKey);
    return defaults.removeValue(trashKey);
}

bool DictationHistory::discard(
    const UUID& id, Date now, const std::optional<std::string>& original) {
    auto list = vault.load(entryList);
    if (!list) return false;
    const auto found = find(list->records, id);
    if (found == list->records.end()) return true;
    TrashedEntry item{std::move(*found), now};
    if (original && !item.entry.originalText && *original != item.entry.text)
        item.entry.originalText = text::mended(*original);
    list->records.erase(found);
    return saveEntries(std::move(*list)) && addToTrash(std::move(item));
}

void DictationHistory::stash(DictationEntry entry, bool wasSynced, Date now) {
    const std::lock_guard guard(lock);
    vault.begin();
    vault.changeSealed([&] { return addToTrash({mended(entry), now, wasSynced}); });
}

bool DictationHistory::addToTrash(TrashedEntry item) {
    auto trash = vault.load(trashList);
    if (!trash) return false;
    purge(trash->records, item.deletedAt);
    trash->records.insert(trash->records.begin(), std::move(item));
    trim(trash->records);
    return saveTrash(*trash);
}

std::vector<TrashedEntry> DictationHistory::trashed(Date now) {
    const std::lock_guard guard(lock);
    vault.begin();
    auto seen = vault.load(trashList);
    if (!seen || purge(seen->records, now) == 0) return seen ? seen->records : Trash().records;
    vault.changeSealed([&] {
        // Again, now that nobody else can change it.
        auto trash = vault.load(trashList);
        if (!trash) return false;
        return purge(trash->records, now) == 0 || saveTrash(*trash);
    });
    return std::move(seen->records);
}

std::vector<UUID> DictationHistory::trashedIDs() {
    const std::lock_guard guard(lock);
    vault.begin();
    std::vector<UUID> ids;
    if (const auto trash = vault.load(trashList))
        for (const auto& item : trash->records) ids.push_back(item.entry.id);
    return ids;
}

std::optional<TrashedEntry> DictationHistory::trashedItem(const UUID& id) {
    const std::lock_guard guard(lock);
    vault.begin();
    auto trash = vault.load(trashList);
    if (!trash) return std::nullopt;
    const auto found = find(trash->records, id);
    if (found == trash->records.end()) return std::nullopt;
    return std::move(*found);
}

std::optional<TrashedEntry> DictationHistory::restore(const UUID& id) {
    const std::lock_guard guard(lock);
    vault.begin();
    std::optional<TrashedEntry> item;
    const bool isKept = vault.changeSealed([&] {
        auto trash = vault.load(trashList);
        if (!trash) return false;
        const auto found = find(trash->records, id);
        if (found == trash->records.end()) return true;
        item = *found;
        trash->records.erase(found);
        return saveTrash(*trash) && (item->wasSynced || putBack(item->entry));
    });
    return isKept ? item : std::nullopt;
}

void DictationHistory::reinstate(DictationEntry entry) {
    const std::lock_guard guard(lock);
    vault.begin();
    vault.changeSealed([&] { return putBack(mended(entry)); });
}

bool DictationHistory::putBack(DictationEntry entry) {
    auto list = vault.load(entryList);
    if (!list) return false;
    auto& records = list->records;
    if (find(records, entry.id) != records.end()) return true;
    const auto place = std::find_if(records.begin(), records.end(),
        [&](const auto& other) { return other.timestamp <= entry.timestamp; });
    records.insert(place, std::move(entry));
    return saveEntries(std::move(*list));
}

void DictationHistory::erase(const UUID& id) {
    const std::lock_guard guard(lock);
    vault.begin();
    vault.changeSealed([&] {
        auto trash = vault.load(trashList);
        if (!trash) return false;
        const auto isMeant = [&](const auto& item) {
            return item.entry.id == id;
        };
        return std::erase_if(trash->records, isMeant) == 0 || saveTrash(*trash);
    });
}

void DictationHistory::emptyTrash() {
    const std::lock_guard guard(lock);
    vault.begin();
    vault.change([&] { return defaults.removeValue(trashKey); });
}

void DictationHistory::clear() {
    const std::lock_guard guard(lock);
    vault.begin();
    if (vault.change([&] { return defaults.removeValue(key); })) waiting.clear();
}

void DictationHistory::projectForKeyboard(std::vector<DictationEntry> list) {
    const std::lock_guard guard(lock);
    vault.begin();
    trim(list);
    for (auto& entry : list) entry = mended(std::move(entry));
    vault.changeSealed([&] {
        // For what stands there now: a mirror that cannot be read is set aside too.
        auto mirror = vault.load(mirrorList);
        if (!mirror) return false;
        mirror->records = std::move(list);
        return vault.save(mirrorList, *mirror);
    });
}

std::vector<DictationEntry> DictationHistory::keyboardEntries() {
    const std::lock_guard guard(lock);
    vault.begin();
    auto mirror = vault.load(mirrorList);
    if (mirror && mirror->stored == HistoryVault::Stored::readable)
        return std::move(mirror->records);
    return readEntries();
}

void DictationHistory::clearKeyboardMirror() {
    const std::lock_guard guard(lock);
    vault.begin();
    vault.change([&] { return defaults.removeValue(mirrorKey); });
}

void DictationHistory::deleteFromKeyboard(const UUID& id, Date now) {
    const std::lock_guard guard(lock);
    vault.begin();
    vault.changeSealed([&] {
        auto mirror = vault.load(mirrorList);
        if (!mirror) return false;
        if (mirror->stored == HistoryVault::Stored::readable) {
            std::erase_if(mirror->records, [&](const auto& entry) { return entry.id == id; });
            if (!vault.save(mirrorList, *mirror) || !queueDeletion(id)) return false;
        }
        return discard(id, now);
    });
}

bool DictationHistory::queueDeletion(const UUID& id) {
    const auto stored = defaults.value(pendingDeleteKey);
    if (!stored && stored.error().kind == DefaultsError::Kind::unavailable) return false;
    std::vector<std::string> pending;
    const auto* queue =
        stored && *stored ? std::get_if<std::vector<std::string>>(&**stored) : nullptr;
    if (queue) pending = *queue;
    const bool isAbsent = stored && !*stored;
    if (!queue && !isAbsent && !vault.setAside(pendingDeleteKey)) return false;
    const auto text = id.text();
    if (std::find(pending.begin(), pending.end(), text) == pending.end()) pending.push_back(text);
    return defaults.setValue(pendingDeleteKey, std::move(pending));
}

std::vector<UUID> DictationHistory::drainKeyboardDeletions() {
    const std::lock_guard guard(lock);
    vault.begin();
    const Setting<std::vector<std::string>> pendingDeletes{pendingDeleteKey};
    if (defaults.get(pendingDeletes).empty()) return {};
    std::vector<std::string> drained;
    const bool isKept = vault.change([&] {
        drained = defaults.get(pendingDeletes); // another process may have been first
        return drained.empty() || defaults.remove(pendingDeletes);
    });
    std::vector<UUID> ids;
    if (!isKept) return ids;
    for (const auto& text : drained)
        if (const auto id = UUID::parse(text)) ids.push_back(*id);
    return ids;
}

} // namespace nimbe
