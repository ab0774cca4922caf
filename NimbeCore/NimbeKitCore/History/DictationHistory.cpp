#include "NimbeKitCore/History/DictationHistory.h"

#include <algorithm>
#include <cmath>

#include "Foundation/Text.h"
#include "NimbeKitCore/History/HistoryCodec.h"
#include "NimbeKitCore/History/LocalHistoryCipher.h"

namespace nimbe {
namespace {

using Kind = HistoryProblem::Kind;

std::string_view asText(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

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

/// How many went.
std::size_t purge(std::vector<TrashedEntry>& items, Date now) {
    return std::erase_if(items, [&](const TrashedEntry& item) {
        return now.since(item.deletedAt) > DictationHistory::trashRetention;
    });
}

} // namespace

DictationHistory::DictationHistory(
    UserDefaults& defaults, LocalHistoryKeyStore& keyStore, LogSink& sink)
    : defaults(defaults), keyStore(keyStore), sink(sink), log(sink, "history") {}

DictationHistory::DictationHistory(UserDefaults& defaults, LogSink& sink)
    : ownKeyStore(std::make_unique<InMemoryLocalHistoryKeyStore>()), defaults(defaults),
      keyStore(*ownKeyStore), sink(sink), log(sink, "history") {}

DictationHistory::~DictationHistory() {
    if (!waiting.empty())
        log.error("history: entries that could not be stored are lost: %zu", waiting.size());
}

std::optional<HistoryProblem> DictationHistory::problem() const {
    const std::lock_guard guard(lock);
    return lastProblem;
}

void DictationHistory::fail(Kind kind, std::string_view sentence) {
    lastProblem = HistoryProblem{kind, sentence};
    if (loggedProblem == kind) return;
    loggedProblem = kind;
    log.error("history: %s", std::string(sentence).c_str());
}

bool DictationHistory::failed(const KeyStoreError& error) {
    const bool isLocked = error.kind == KeyStoreError::Kind::locked;
    const auto kind = isLocked ? Kind::keyLocked : Kind::keyUnavailable;
    if (loggedProblem != kind && !error.detail.empty())
        log.error("history: no key: %s", error.detail.c_str());
    fail(kind, error.message());
    return false;
}

/// True also when it is certain that there is no key.
bool DictationHistory::findKey() {
    if (cachedKey) return true;
    auto loaded = keyStore.loadKeyData();
    if (!loaded) return failed(loaded.error());
    if (*loaded) cachedKey.emplace(std::move(**loaded));
    return true;
}

/// Outside of transactions: a store that is slow to answer must not hold up the
/// other processes.
bool DictationHistory::ensureKey() {
    if (cachedKey) return true;
    auto made = LocalHistoryCipher::key(keyStore, sink);
    if (!made) return failed(made.error());
    cachedKey.emplace(std::move(*made));
    return true;
}

bool DictationHistory::change(const std::function<bool()>& body) {
    savedEntries = false;
    if (defaults.transaction(body)) {
        if (savedEntries) waiting.clear();
        if (!lastProblem) loggedProblem.reset();
        return true;
    }
    if (!lastProblem || lastProblem->kind == Kind::listUnreadable)
        fail(Kind::notStored, "The history could not be stored.");
    return false;
}

bool DictationHistory::changeSealed(const std::function<bool()>& body) {
    return ensureKey() && change(body);
}

template <>
SealedList<DictationEntry>& DictationHistory::sealedList(std::string_view listKey) {
    return listKey == key ? sealedEntries : sealedMirror;
}

template <>
SealedList<TrashedEntry>& DictationHistory::sealedList(std::string_view /*listKey*/) {
    return sealedTrash;
}

template <typename Record>
std::optional<DictationHistory::List<Record>> DictationHistory::load(std::string_view listKey) {
    List<Record> list;
    const auto value = defaults.value(listKey);
    if (!value && value.error().kind == DefaultsError::Kind::unavailable) {
        fail(Kind::storeUnreadable, "The stored history cannot be reached.");
        return std::nullopt;
    }
    if (value && !*value) return list;

    const auto* bytes = value ? std::get_if<Bytes>(&**value) : nullptr;
    std::optional<std::vector<Record>> records;
    if (bytes) {
        if (!findKey()) return std::nullopt;
        if (cachedKey) records = sealedList<Record>(listKey).open(*bytes, *cachedKey);
        // The layout of earlier versions was not sealed; the next save seals it.
        if (!records && listKey == key) records = historyCodec::decode<Record>(asText(*bytes));
    }
    list.stored = records ? Stored::readable : Stored::unreadable;
    if (records)
        list.records = std::move(*records);
    else
        fail(Kind::listUnreadable,
            "A stored list could not be read. It will be set aside, not overwritten.");
    return list;
}

std::optional<DictationHistory::Entries> DictationHistory::loadEntries() {
    auto list = load<DictationEntry>(key);
    if (!list || waiting.empty()) return list;
    list->records.insert(list->records.begin(), waiting.begin(), waiting.end());
    trim(list->records);
    return list;
}

std::optional<DictationHistory::Trash> DictationHistory::loadTrash() {
    return load<TrashedEntry>(trashKey);
}

template <typename Record>
bool DictationHistory::save(std::string_view listKey, const List<Record>& list) {
    auto sealed = sealedList<Record>(listKey).seal(list.records, *cachedKey);
    if (!sealed) return false;
    if (list.stored == Stored::unreadable && !setAside(listKey)) return false;
    return defaults.setValue(listKey, std::move(*sealed));
}

bool DictationHistory::saveEntries(Entries list) {
    trim(list.records);
    savedEntries = save(key, list);
    return savedEntries;
}

/// The one list whose value goes when it is empty.
bool DictationHistory::saveTrash(const Trash& list) {
    if (!list.records.empty()) return save(trashKey, list);
    return list.stored == Stored::unreadable ? setAside(trashKey) : defaults.removeValue(trashKey);
}

bool DictationHistory::setAside(std::string_view listKey) {
    log.error("history: a list that could not be read is set aside");
    std::string newKey(listKey);
    newKey += asideSuffix;
    newKey += UUID::random().text();
    return defaults.moveValue(listKey, newKey);
}

DictationEntry DictationHistory::append(std::string text, DictationMode mode, Date now) {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    DictationEntry entry{UUID::random(), text::mended(std::move(text)), now, mode};
    const bool isStored = changeSealed([&] {
        auto list = loadEntries();
        if (!list) return false;
        list->records.insert(list->records.begin(), entry);
        return saveEntries(std::move(*list));
    });
    // A date that cannot be written would keep all later entries from the disk.
    if (!isStored && std::isfinite(now.sinceReference)) {
        waiting.insert(waiting.begin(), entry);
        trim(waiting);
    }
    return entry;
}

std::vector<DictationEntry> DictationHistory::entries() {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    storeWaiting();
    return readEntries();
}

void DictationHistory::storeWaiting() {
    if (waiting.empty()) return;
    const bool isStored = changeSealed([&] {
        auto list = loadEntries();
        return list && saveEntries(std::move(*list));
    });
    if (isStored) log.info("history: entries that had waited are stored");
}

std::vector<DictationEntry> DictationHistory::readEntries() {
    auto list = loadEntries();
    return list ? std::move(list->records) : waiting;
}

void DictationHistory::update(const UUID& id, std::string text) {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    text = text::mended(std::move(text));
    if (text::trimmed(text).empty()) return;
    changeSealed([&] {
        auto list = loadEntries();
        if (!list) return false;
        const auto entry = find(list->records, id);
        if (entry == list->records.end()) return true;
        if (!entry->originalText) entry->originalText = entry->text;
        if (entry->originalText == text) entry->originalText.reset();
        entry->text = text;
        return saveEntries(std::move(*list));
    });
}

void DictationHistory::deleteEntry(const UUID& id, Date now) {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    changeSealed([&] { return discard(id, now); });
}

bool DictationHistory::discard(const UUID& id, Date now) {
    auto list = loadEntries();
    if (!list) return false;
    const auto found = find(list->records, id);
    if (found == list->records.end()) return true;
    TrashedEntry item{std::move(*found), now};
    list->records.erase(found);
    return saveEntries(std::move(*list)) && addToTrash(std::move(item));
}

void DictationHistory::stash(DictationEntry entry, bool wasSynced, Date now) {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    changeSealed([&] { return addToTrash({mended(entry), now, wasSynced}); });
}

bool DictationHistory::addToTrash(TrashedEntry item) {
    auto trash = loadTrash();
    if (!trash) return false;
    purge(trash->records, item.deletedAt);
    trash->records.insert(trash->records.begin(), std::move(item));
    trim(trash->records);
    return saveTrash(*trash);
}

std::vector<TrashedEntry> DictationHistory::trashed(Date now) {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    auto seen = loadTrash();
    if (!seen || purge(seen->records, now) == 0) return seen ? seen->records : Trash().records;
    changeSealed([&] {
        // Again, now that nobody else can change it.
        auto trash = loadTrash();
        if (!trash) return false;
        return purge(trash->records, now) == 0 || saveTrash(*trash);
    });
    return std::move(seen->records);
}

std::optional<TrashedEntry> DictationHistory::restore(const UUID& id) {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    std::optional<TrashedEntry> item;
    const bool isKept = changeSealed([&] {
        auto trash = loadTrash();
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
    lastProblem.reset();
    changeSealed([&] { return putBack(mended(entry)); });
}

bool DictationHistory::putBack(DictationEntry entry) {
    auto list = loadEntries();
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
    lastProblem.reset();
    changeSealed([&] {
        auto trash = loadTrash();
        if (!trash) return false;
        const auto isMeant = [&](const auto& item) {
            return item.entry.id == id;
        };
        return std::erase_if(trash->records, isMeant) == 0 || saveTrash(*trash);
    });
}

void DictationHistory::emptyTrash() {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    change([&] { return defaults.removeValue(trashKey); });
}

void DictationHistory::clear() {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    waiting.clear();
    change([&] { return defaults.removeValue(key); });
}

void DictationHistory::projectForKeyboard(std::vector<DictationEntry> list) {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    trim(list);
    for (auto& entry : list) entry = mended(std::move(entry));
    changeSealed([&] {
        // For what stands there now: a mirror that cannot be read is set aside too.
        auto mirror = load<DictationEntry>(mirrorKey);
        if (!mirror) return false;
        mirror->records = std::move(list);
        return save(mirrorKey, *mirror);
    });
}

std::vector<DictationEntry> DictationHistory::keyboardEntries() {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    auto mirror = load<DictationEntry>(mirrorKey);
    if (mirror && mirror->stored == Stored::readable) return std::move(mirror->records);
    return readEntries();
}

void DictationHistory::clearKeyboardMirror() {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    change([&] { return defaults.removeValue(mirrorKey); });
}

void DictationHistory::deleteFromKeyboard(const UUID& id, Date now) {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    const Setting<std::vector<std::string>> pendingDeletes{pendingDeleteKey};
    changeSealed([&] {
        auto mirror = load<DictationEntry>(mirrorKey);
        if (!mirror) return false;
        if (mirror->stored == Stored::readable) {
            std::erase_if(mirror->records, [&](const auto& entry) { return entry.id == id; });
            auto pending = defaults.get(pendingDeletes);
            if (std::find(pending.begin(), pending.end(), id.text()) == pending.end())
                pending.push_back(id.text());
            if (!save(mirrorKey, *mirror) || !defaults.set(pendingDeletes, pending)) return false;
        }
        return discard(id, now);
    });
}

std::vector<UUID> DictationHistory::drainKeyboardDeletions() {
    const std::lock_guard guard(lock);
    lastProblem.reset();
    const Setting<std::vector<std::string>> pendingDeletes{pendingDeleteKey};
    if (defaults.get(pendingDeletes).empty()) return {};
    std::vector<std::string> drained;
    const bool isKept = change([&] {
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
