#include "NimbeSync/HistoryLibrary.h"

#include <algorithm>

#include "NimbeSync/HistorySyncPrompt.h"

namespace nimbe {
namespace {

using Kind = HistoryProblem::Kind;

DecryptedTranscript transcript(const DictationEntry& entry) {
    return {entry.id, entry.text, entry.timestamp, std::string(rawValue(entry.mode)),
        entry.originalText};
}

} // namespace

HistoryLibrary::HistoryLibrary(
    DictationHistory& local, UserDefaults& defaults, SyncedHistory synced)
    : history(local), defaults(defaults), synced(std::move(synced)) {}

std::optional<HistoryProblem> HistoryLibrary::problem() const {
    const std::lock_guard guard(lock);
    return lastProblem;
}

void HistoryLibrary::begin() {
    const std::lock_guard guard(lock);
    lastProblem.reset();
}

/// The first stays.
void HistoryLibrary::note(std::string_view sentence, Kind kind) {
    const std::lock_guard guard(lock);
    if (!lastProblem) lastProblem = HistoryProblem{kind, sentence};
}

bool HistoryLibrary::hasFailed() {
    const auto found = history.problem();
    if (!found) return false;
    note(found->sentence, found->kind);
    return !found->isPartial();
}

void HistoryLibrary::noteSynced(const Synced& from) {
    if (from.problem) note(*from.problem, Kind::syncedUnreadable);
    if (!from.store) return;
    if (const auto found = from.store->problem()) note(*found, Kind::syncedUnreadable);
}

bool HistoryLibrary::keepsAll() {
    return defaults.get(HistorySyncPrompt::historyEnabled);
}

DictationEntry HistoryLibrary::append(
    std::string text, std::optional<std::string> original, DictationMode mode, Date now) {
    const std::lock_guard guard(operation);
    begin();
    auto entry = history.append(std::move(text), mode, now);
    (void)hasFailed();
    if (!keepsAll()) return entry;
    const auto into = synced(Need::ifKept);
    if (into.store) {
        const std::string name(rawValue(mode));
        if (into.store->insert(entry.text, std::move(original), entry.timestamp, name, entry.id))
            fillNow(into);
        else
            mayLack = true;
    }
    noteSynced(into);
    return entry;
}

void HistoryLibrary::fill() {
    const std::lock_guard guard(operation);
    begin();
    if (!keepsAll()) return;
    mayLack = true;
    const auto into = synced(Need::ifKept);
    fillNow(into);
    noteSynced(into);
}

void HistoryLibrary::fillNow(const Synced& into) {
    if (!mayLack || !into.store) return;
    const auto entries = history.entries();
    if (hasFailed()) return;
    std::vector<DecryptedTranscript> transcripts;
    transcripts.reserve(entries.size());
    for (const auto& entry : entries) transcripts.push_back(transcript(entry));
    mayLack = !into.store->addUnknown(transcripts);
    for (const auto& entry : entries) {
        if (!entry.originalText) continue;
        // As it was before it was edited: that edit has not come there.
        const auto known = into.store->transcript(entry.id);
        const bool isBehind = known && known->text == *entry.originalText;
        if (isBehind && !into.store->update(entry.id, entry.text, entry.originalText))
            mayLack = true;
    }
}

HistoryFeed HistoryLibrary::feed() {
    const std::lock_guard guard(operation);
    begin();
    auto entries = history.entries();
    (void)hasFailed();
    const auto from = synced(Need::ifKept);
    std::vector<DecryptedTranscript> transcripts;
    if (from.store) transcripts = from.store->transcripts();
    noteSynced(from);
    return {std::move(entries), std::move(transcripts)};
}

template <typename Operation>
auto HistoryLibrary::onTrash(Operation operate) {
    const std::lock_guard guard(operation);
    begin();
    struct Noting {
        HistoryLibrary& library;
        ~Noting() { (void)library.hasFailed(); }
    } noting{*this};
    return operate();
}

std::optional<DictationEntry> HistoryLibrary::localEntry(const UUID& id) {
    auto entries = history.entries();
    const auto found = std::find_if(
        entries.begin(), entries.end(), [&](const auto& entry) { return entry.id == id; });
    if (found == entries.end()) return std::nullopt;
    return std::move(*found);
}

std::optional<DictationEntry> HistoryLibrary::entry(const UUID& id) {
    const std::lock_guard guard(operation);
    begin();
    auto found = localEntry(id);
    (void)hasFailed();
    if (found) return found;
    const auto from = synced(Need::ifKept);
    std::optional<DecryptedTranscript> opened;
    if (from.store) opened = from.store->transcript(id);
    noteSynced(from);
    if (!opened) return std::nullopt;
    return HistoryFeed::entry(std::move(*opened));
}

void HistoryLibrary::update(const UUID& id, std::string text) {
    const std::lock_guard guard(operation);
    begin();
    auto known = localEntry(id);
    const bool isLocal = known.has_value();
    if (hasFailed()) return;
    if (isLocal) history.update(id, text);
    if (isLocal && hasFailed()) return;
    const auto from = synced(Need::ifKept);
    if (!from.store) return;
    // The first text stays with it, also when it is no longer among the hundred.
    std::optional<std::string> first;
    if (isLocal)
        first = known->originalText ? known->originalText : known->text;
    else if (const auto opened = from.store->transcript(id))
        first = opened->text;
    const bool isUpdated = from.store->update(id, std::move(text), first);
    if (!isUpdated && isLocal) mayLack = true;
    if (isUpdated || isLocal) return noteSynced(from);
    note(from.store->problem().value_or("The key of the synced history is missing."),
        Kind::notStored);
}

/// Into the trash first: whatever ends the program in between, the text is somewhere.
void HistoryLibrary::deleteEntry(const UUID& id, Date now) {
    const std::lock_guard guard(operation);
    begin();
    const auto own = localEntry(id);
    if (hasFailed()) return;
    const auto from = synced(Need::ifKept);
    // What stays behind on disk would be back in the list with the next launch.
    if (from.problem) return note(*from.problem, Kind::notStored);
    std::optional<DecryptedTranscript> opened;
    if (from.store) {
        opened = from.store->transcript(id);
        if (const auto unread = from.store->problem()) return note(*unread, Kind::notStored);
    }
    if (!own && !opened) return; // what cannot be shown is not deleted
    const auto entry = own ? *own : HistoryFeed::entry(*opened);
    if (own)
        history.deleteEntry(id, now, opened ? opened->originalText : std::nullopt);
    else
        history.stash(entry, true, now);
    if (hasFailed() || !from.store || from.store->deleteTranscript(id)) return;
    note(from.store->problem().value_or(""), Kind::notStored);
    undelete(entry, own.has_value(), *from.store);
}

/// What is not in the synced store either stays in the trash.
void HistoryLibrary::undelete(const DictationEntry& entry, bool wasLocal, SyncStore& store) {
    if (wasLocal)
        (void)history.restore(entry.id);
    else if (store.transcript(entry.id))
        history.erase(entry.id);
}

/// The history would take it: it drops what is older than its hundred.
bool HistoryLibrary::hasPlace(const DictationEntry& entry) {
    const auto entries = history.entries();
    return entries.size() < DictationHistory::cap ||
           std::any_of(entries.begin(), entries.end(), [&](const auto& other) {
               return other.id == entry.id || other.timestamp <= entry.timestamp;
           });
}

/// Out of the trash last, for the same reason.
std::optional<TrashedEntry> HistoryLibrary::restore(const UUID& id) {
    const std::lock_guard guard(operation);
    begin();
    auto item = history.trashedItem(id);
    if (hasFailed() || !item) return std::nullopt;
    const bool isForSynced = item->wasSynced || !hasPlace(item->entry);
    Synced into;
    if (isForSynced || keepsAll()) into = synced(item->wasSynced ? Need::always : Need::ifKept);
    const bool isLasting = into.store && !into.problem;
    const bool isKept = isLasting && into.store->restore(transcript(item->entry));
    if (isForSynced && !isKept) {
        const auto why = into.problem ? into.problem
                         : into.store ? into.store->problem()
                                      : std::nullopt;
        note(why.value_or(item->wasSynced ? "The synced history can't be reached."
                                          : "It is older than the hundred that are kept."),
            Kind::notStored);
        return std::nullopt;
    }
    item = history.restore(id);
    if (hasFailed()) return std::nullopt;
    if (!isKept && keepsAll()) mayLack = true;
    noteSynced(into);
    return item;
}

std::vector<TrashedEntry> HistoryLibrary::trashed(Date now) {
    return onTrash([&] { return history.trashed(now); });
}

void HistoryLibrary::erase(const UUID& id) {
    onTrash([&] { history.erase(id); });
}

void HistoryLibrary::emptyTrash() {
    onTrash([&] { history.emptyTrash(); });
}

void HistoryLibrary::reinstate(DictationEntry entry) {
    const std::lock_guard guard(operation);
    begin();
    history.reinstate(entry);
    if (hasFailed()) return;
    const auto into = synced(Need::ifKept);
    if (!into.store) return;
    // One that is older than all that the history holds has no place there.
    const bool hasPlace = localEntry(entry.id).has_value();
    const bool isKept = (keepsAll() || !hasPlace) && into.store->restore(transcript(entry));
    if (!hasPlace && !isKept)
        note(into.store->problem().value_or(""), Kind::notStored);
    else if (!isKept && keepsAll())
        mayLack = true;
    noteSynced(into);
}

} // namespace nimbe
