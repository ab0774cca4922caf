#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "NimbeKitCore/History/DictationEntry.h"
#include "NimbeKitCore/History/HistoryVault.h"

namespace nimbe {

/// The device-local record of finished dictations: the recent entries and
/// "Recently Deleted", and for a companion keyboard a projected copy and a queue
/// of deletions. Every list is newest first and holds at most 100.
///
/// Each list is one value in the settings store: JSON (see historyCodec), sealed
/// by LocalHistoryCipher. What is stored is read at every operation (see SealedList
/// for what that saves), so several processes over one store see each other's
/// changes; an operation is one transaction of the store. Operations never fail
/// towards the caller; problem() tells. A value that cannot be read counts as an
/// empty list and is set aside under a key of its own before another is written in
/// its place. While the key is locked or away no list is written; emptying the trash
/// and clearing need no key.
///
/// Any thread. The cost of a change grows with the length of the lists it touches,
/// which are sealed and written whole.
class DictationHistory {
public:
    static constexpr std::string_view key = "dictation.history";
    static constexpr std::string_view trashKey = "dictation.history.trash";
    static constexpr std::string_view mirrorKey = "dictation.history.mirror";
    static constexpr std::string_view pendingDeleteKey = "dictation.history.pendingDeletes";
    static constexpr std::size_t cap = 100;
    static constexpr Seconds trashRetention = 2'592'000; // 30 days

    DictationHistory(UserDefaults& defaults, LocalHistoryKeyStore& keyStore, LogSink& sink);
    /// With a key that lives as long as this object.
    DictationHistory(UserDefaults& defaults, LogSink& sink);
    DictationHistory(const DictationHistory&) = delete;
    DictationHistory& operator=(const DictationHistory&) = delete;
    ~DictationHistory();

    /// Absent: the last operation did what it says. An id that is not there is no
    /// problem.
    [[nodiscard]] std::optional<HistoryProblem> problem() const;

    /// An entry that cannot be stored now is kept in memory, is among entries(),
    /// and is stored by a later operation on the list, or when this ends.
    DictationEntry append(std::string text, DictationMode mode, Date now);
    [[nodiscard]] std::vector<DictationEntry> entries();
    /// Blank text changes nothing. The first text is kept as the original until an
    /// edit brings it back.
    void update(const UUID& id, std::string text);
    /// Moves an entry to the trash, where it has `original` as such if it has none yet.
    void deleteEntry(const UUID& id, Date now, const std::optional<std::string>& original = {});
    /// Puts an entry that lives elsewhere into the trash.
    void stash(DictationEntry entry, bool wasSynced, Date now);

    /// After purging what has been there longer than 30 days.
    [[nodiscard]] std::vector<TrashedEntry> trashed(Date now);
    /// Of all that is there; nothing is purged or written.
    [[nodiscard]] std::vector<UUID> trashedIDs();
    /// What is in the trash of this id; nothing is purged or written.
    [[nodiscard]] std::optional<TrashedEntry> trashedItem(const UUID& id);
    /// Takes an item out of the trash; back into the list unless it was synced.
    std::optional<TrashedEntry> restore(const UUID& id);
    /// Puts an entry into the list by its time, before one of the same time.
    void reinstate(DictationEntry entry);
    /// Deletes an item of the trash for good.
    void erase(const UUID& id);
    void emptyTrash();
    /// Removes all entries; the trash stays.
    void clear();

    /// Writes the first 100 of a list as the keyboard's copy.
    void projectForKeyboard(std::vector<DictationEntry> list);
    /// That copy, or the local entries when there is none that can be read.
    [[nodiscard]] std::vector<DictationEntry> keyboardEntries();
    void clearKeyboardMirror();
    void deleteFromKeyboard(const UUID& id, Date now);
    /// The ids that were deleted on the keyboard, once.
    [[nodiscard]] std::vector<UUID> drainKeyboardDeletions();

private:
    using Entries = HistoryVault::Loaded<DictationEntry>;
    using Trash = HistoryVault::Loaded<TrashedEntry>;

    std::unique_ptr<LocalHistoryKeyStore> ownKeyStore;
    UserDefaults& defaults;
    Log log;
    mutable std::mutex lock;
    HistoryVault vault;
    SealedList<DictationEntry> entryList{key, SealedList<DictationEntry>::Layout::sealedOrPlain};
    SealedList<TrashedEntry> trashList{trashKey, SealedList<TrashedEntry>::Layout::sealed};
    SealedList<DictationEntry> mirrorList{mirrorKey, SealedList<DictationEntry>::Layout::sealed};
    std::vector<DictationEntry> waiting; // not stored yet, newest first

    // All of these are called with the lock held.
    [[nodiscard]] bool storeFirst(std::vector<DictationEntry> newestFirst);
    bool storeWaiting();
    [[nodiscard]] std::vector<DictationEntry> readEntries();
    [[nodiscard]] bool saveEntries(Entries list);
    [[nodiscard]] bool saveTrash(const Trash& list);
    [[nodiscard]] bool discard(
        const UUID& id, Date now, const std::optional<std::string>& original = {});
    [[nodiscard]] bool addToTrash(TrashedEntry item);
    [[nodiscard]] bool putBack(DictationEntry entry);
    [[nodiscard]] bool queueDeletion(const UUID& id);
};

} // namespace nimbe
