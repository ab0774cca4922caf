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
    const bool isLocal = localEntry(id).has_value();
    if (hasFailed()) return;
    if (isLocal) history.update(id, text);
    if (isLocal && hasFailed()) return;
    const auto from = synced(Need::ifKept);
    if (!from.store) return;
    if (from.store->update(id, std::move(text)) || isLocal) return noteSynced(from);
    note(from.store->problem().value_or("The key of the synced history is missing."),
        Kind::notStored);
}

/// From the synced store first: what stays behind there would be back in the list.
void HistoryLibrary::deleteEntry(const UUID& id, Date now) {
    const std::lock_guard guard(operation);
    begin();
    const bool isLocal = localEntry(id).has_value();
    if (hasFailed()) return;
    const auto from = synced(Need::ifKept);
    std::optional<DecryptedTranscript> opened;
    if (from.store) {
        opened = from.store->transcript(id);
        if (!isLocal && !opened) return noteSynced(from); // what cannot be shown is not deleted
        if (!from.store->deleteTranscript(id))
            return note(from.store->problem().value_or(""), Kind::notStored);
    }
    if (isLocal)
        history.deleteEntry(id, now, opened ? opened->originalText : std::nullopt);
    else if (opened)
        history.stash(HistoryFeed::entry(*opened), true, now);
    if (hasFailed()) {
        mayLack = true;
        if (opened) (void)from.store->restore(*opened);
    }
    noteSynced(from);
}

std::optional<TrashedEntry> HistoryLibrary::restore(const UUID& id) {
    const std::lock_guard guard(operation);
    begin();
    auto item = history.restore(id);
    if (hasFailed() || !item) return std::nullopt;
    if (!item->wasSynced && !keepsAll()) return item;
    const auto into = synced(item->wasSynced ? Need::always : Need::ifKept);
    const bool isLasting = into.store && !into.problem;
    const bool isBack = isLasting && into.store->restore(transcript(item->entry));
    if (isBack) return item;
    if (!item->wasSynced) {
        mayLack = true;
        noteSynced(into);
        return item;
    }
    const auto why = into.problem ? into.problem
                     : into.store ? into.store->problem()
                                  : std::nullopt;
    note(why.value_or("The synced history can't be reached."), Kind::notStored);
    history.stash(std::move(item->entry), true, item->deletedAt);
    return std::nullopt;
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
    if (keepsAll() || !localEntry(entry.id)) (void)into.store->restore(transcript(entry));
    noteSynced(into);
}

} // namespace nimbe
