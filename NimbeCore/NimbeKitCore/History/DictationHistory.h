#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "NimbeKitCore/History/DictationEntry.h"
#include "NimbeKitCore/History/LocalHistoryKeyStore.h"
#include "NimbeKitCore/History/SealedList.h"
#include "NimbeKitCore/History/SymmetricKey.h"

namespace nimbe {

/// What kept the last operation of a history from doing its work.
struct HistoryProblem {
    enum class Kind {
        keyLocked,       // the keyring waits to be unlocked
        keyUnavailable,  // the key is not to be had for another reason
        storeUnreadable, // the settings store fails
        listUnreadable,  // a stored list is damaged or of another key: taken as empty
        notStored        // the change could not be written; all is as before
    };
    Kind kind = Kind::notStored;
    std::string_view sentence = {}; // for the user

    friend bool operator==(const HistoryProblem& left, const HistoryProblem& right) {
        return left.kind == right.kind;
    }
};

/// The device-local record of finished dictations: the recent entries and
/// "Recently Deleted", and for a companion keyboard a projected copy and a queue
/// of deletions. Every list is newest first and holds at most 100.
///
/// Each list is one value in the settings store: JSON (see historyCodec), sealed
/// by LocalHistoryCipher. What is stored is read at every operation (see SealedList
/// for what that saves), so several processes over one store see each other's changes; an operation
/// is one transaction of the store. Operations never fail towards the caller; problem() tells. A
/// value that cannot be read counts as an empty list and is set aside under a key of its own before
/// another is written in its place. While the key is locked or away, nothing is written.
///
/// Any thread. The cost of a change grows with the length of the lists it touches,
/// which are sealed and written whole.
class DictationHistory {
public:
    static constexpr std::string_view key = "dictation.history";
    static constexpr std::string_view trashKey = "dictation.history.trash";
    static constexpr std::string_view mirrorKey = "dictation.history.mirror";
    static constexpr std::string_view pendingDeleteKey = "dictation.history.pendingDeletes";
    /// Follows the key of a list that was set aside; a random id follows it.
    static constexpr std::string_view asideSuffix = ".unreadable.";

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
    /// and is stored by the next operation on the list that can.
    DictationEntry append(std::string text, DictationMode mode, Date now);
    [[nodiscard]] std::vector<DictationEntry> entries();
    /// Blank text changes nothing. The first text is kept as the original until an
    /// edit brings it back.
    void update(const UUID& id, std::string text);
    /// Moves an entry to the trash.
    void deleteEntry(const UUID& id, Date now);
    /// Puts an entry that lives elsewhere into the trash.
    void stash(DictationEntry entry, bool wasSynced, Date now);

    /// After purging what has been there longer than 30 days.
    [[nodiscard]] std::vector<TrashedEntry> trashed(Date now);
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
    enum class Stored { absent, readable, unreadable };
    template <typename Record>
    struct List {
        std::vector<Record> records;
        Stored stored = Stored::absent;
    };
    using Entries = List<DictationEntry>;
    using Trash = List<TrashedEntry>;

    std::unique_ptr<LocalHistoryKeyStore> ownKeyStore;
    UserDefaults& defaults;
    LocalHistoryKeyStore& keyStore;
    LogSink& sink;
    Log log;
    mutable std::mutex lock;
    std::optional<SymmetricKey> cachedKey;
    std::optional<HistoryProblem> lastProblem;
    std::optional<HistoryProblem::Kind> loggedProblem; // not again until it changes
    SealedList<DictationEntry> sealedEntries;
    SealedList<DictationEntry> sealedMirror;
    SealedList<TrashedEntry> sealedTrash;
    std::vector<DictationEntry> waiting; // not stored yet, newest first
    bool savedEntries = false;           // in the running transaction

    // All of these are called with the lock held.
    void fail(HistoryProblem::Kind kind, std::string_view sentence);
    [[nodiscard]] bool failed(const KeyStoreError& error);
    [[nodiscard]] bool findKey();
    [[nodiscard]] bool ensureKey();
    /// One transaction; `body` is false when something failed. Sealed: with the key.
    bool change(const std::function<bool()>& body);
    bool changeSealed(const std::function<bool()>& body);

    template <typename Record>
    [[nodiscard]] SealedList<Record>& sealedList(std::string_view listKey);
    /// Absent when a stored list cannot be looked at now.
    template <typename Record>
    [[nodiscard]] std::optional<List<Record>> load(std::string_view listKey);
    [[nodiscard]] std::optional<Entries> loadEntries();
    [[nodiscard]] std::optional<Trash> loadTrash();
    template <typename Record>
    [[nodiscard]] bool save(std::string_view listKey, const List<Record>& list);
    [[nodiscard]] bool saveEntries(Entries list);
    [[nodiscard]] bool saveTrash(const Trash& list);
    [[nodiscard]] bool setAside(std::string_view listKey);
    [[nodiscard]] bool discard(const UUID& id, Date now);
    [[nodiscard]] bool addToTrash(TrashedEntry item);
    [[nodiscard]] bool putBack(DictationEntry entry);
    [[nodiscard]] std::vector<DictationEntry> readEntries();
    void storeWaiting();
};

} // namespace nimbe
