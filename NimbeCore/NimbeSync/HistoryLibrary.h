#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeSync/HistoryFeed.h"
#include "NimbeSync/SyncStore.h"

namespace nimbe {

/// The user's dictations wherever they stand: the device's own history, which holds a
/// hundred, and the synced store, which holds all where the user wants that. Whoever lists or
/// changes dictations does it here, so that both say the same.
///
/// Fails as DictationHistory does; problem() is partial when the synced store alone could not
/// do its part. Any thread, one operation at a time. A feed costs what there is to open, all
/// else what it costs in the history plus a few records of the store.
class HistoryLibrary {
public:
    struct Synced {
        SyncStore* store = nullptr;                   // lent; absent: there is none now
        std::optional<std::string_view> problem = {}; // what keeps the lasting one away
    };
    enum class Need {
        ifKept, // where the user wants all kept, or has had it once
        always  // makes one where there is none
    };
    /// Opens the store when it is first asked, which may take seconds.
    using SyncedHistory = std::function<Synced(Need)>;

    HistoryLibrary(DictationHistory& local, UserDefaults& defaults, SyncedHistory synced);
    HistoryLibrary(const HistoryLibrary&) = delete;
    HistoryLibrary& operator=(const HistoryLibrary&) = delete;

    /// For what concerns this device alone.
    [[nodiscard]] DictationHistory& local() { return history; }

    /// Absent: the last operation did what it says.
    [[nodiscard]] std::optional<HistoryProblem> problem() const;

    /// `original`: what was said, before an AI cleanup, where there was one.
    DictationEntry append(
        std::string text, std::optional<std::string> original, DictationMode mode, Date now);
    [[nodiscard]] HistoryFeed feed();
    [[nodiscard]] std::optional<DictationEntry> entry(const UUID& id);
    /// Blank text changes nothing.
    void update(const UUID& id, std::string text);
    /// Moves it to the trash of this device, from wherever it stands.
    void deleteEntry(const UUID& id, Date now);
    /// Takes an item out of the trash, and back to where it came from. Absent: there is none
    /// of this id, or it stays in the trash as problem() says.
    std::optional<TrashedEntry> restore(const UUID& id);
    /// Puts an entry back that is nowhere any more.
    void reinstate(DictationEntry entry);

    // As in the history, which has the one trash.
    [[nodiscard]] std::vector<TrashedEntry> trashed(Date now);
    void erase(const UUID& id);
    void emptyTrash();

    /// The user wants all kept: what is dictated from now on goes to the synced store, too.
    [[nodiscard]] bool keepsAll();

    /// Gives the synced store what it lacks of the history, where all are to be kept.
    void fill();

private:
    DictationHistory& history;
    UserDefaults& defaults;
    SyncedHistory synced;
    std::mutex operation;
    mutable std::mutex lock; // of the problem alone
    std::optional<HistoryProblem> lastProblem;
    bool mayLack = true; // the synced store, some of the history's entries

    void begin();
    /// True: the history did not do what it was to.
    bool hasFailed();
    void note(std::string_view sentence, HistoryProblem::Kind kind);
    void noteSynced(const Synced& from);
    void fillNow(const Synced& into);
    template <typename Operation>
    auto onTrash(Operation operate);
    [[nodiscard]] std::optional<DictationEntry> localEntry(const UUID& id);
    void undelete(const DictationEntry& entry, bool wasLocal, SyncStore& store);
    [[nodiscard]] bool hasPlace(const DictationEntry& entry);
};

} // namespace nimbe
