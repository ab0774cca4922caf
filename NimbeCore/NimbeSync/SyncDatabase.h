#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "NimbeSync/CloudDatabase.h"
#include "NimbeSync/SyncSchema.h"

namespace nimbe {

struct SyncError {
    enum class Kind {
        unavailable, // locked by another process, no such folder, no rights
        full,        // nothing more fits on the disk
        damaged,     // its bytes are not those of a store
        newer        // of a newer version: left as it is
    };
    Kind kind = Kind::unavailable;
    std::string detail = {}; // for the log

    [[nodiscard]] std::string_view sentence() const; // for the user
};

template <typename T = void>
using SyncResult = Result<T, SyncError>;

/// What the mirror keeps beside the records. The threads and failures of SyncDatabase.
class MirrorJournal {
public:
    virtual ~MirrorJournal() = default;

    struct State {
        std::string cloud;       // the mark of this revision; empty: none was met yet
        std::int64_t pulled = 0; // up to this revision
        friend bool operator==(const State&, const State&) = default;
    };
    [[nodiscard]] virtual SyncResult<State> state() = 0;
    [[nodiscard]] virtual SyncResult<> setState(const State& state) = 0;

    /// Dirty records by kind and id, those after `after`.
    [[nodiscard]] virtual SyncResult<std::vector<SyncRecord>> pending(
        const std::optional<std::pair<SyncKind, std::string>>& after, std::size_t limit) = 0;

    /// Records of the cloud that this device cannot read, to be kept as they are. One of the
    /// same kind and id is replaced. Revision 0: the cloud is to get it.
    [[nodiscard]] virtual SyncResult<> keep(const CloudRecord& foreign) = 0;
    [[nodiscard]] virtual SyncResult<> drop(const std::string& kind, const std::string& id) = 0;
    [[nodiscard]] virtual SyncResult<std::vector<CloudRecord>> foreign(
        const std::optional<std::pair<std::string, std::string>>& after, std::size_t limit) = 0;

    /// Another cloud: everything is to be given to it anew, and nothing was pulled.
    [[nodiscard]] virtual SyncResult<> offerAllAnew() = 0;
};

/// The records of the synced store. Any thread; waits for other processes at most a few
/// seconds. A change is whole or not there, also after a crash of the machine.
class SyncDatabase {
public:
    virtual ~SyncDatabase() = default;

    /// A deleted record, too: it is there as long as the cloud has not been told.
    [[nodiscard]] virtual SyncResult<std::optional<SyncRecord>> read(
        SyncKind kind, const std::string& id) = 0;
    /// In place of the one of this kind and id.
    [[nodiscard]] virtual SyncResult<> write(const SyncRecord& record) = 0;
    /// Leaves no trace.
    [[nodiscard]] virtual SyncResult<> erase(SyncKind kind, const std::string& id) = 0;

    struct Position {
        Date createdAt; // of a transcript; others are in the order of their ids alone
        std::string id;
    };
    /// What is not deleted, those after `after`: transcripts newest first, then by id,
    /// downwards; others by id. Fewer than the limit: there are no more.
    [[nodiscard]] virtual SyncResult<std::vector<SyncModel>> page(
        SyncKind kind, const std::optional<Position>& after, std::size_t limit) = 0;

    /// Runs `body`, whose calls here and on the journal, on this thread, see and change the
    /// store without another writer in between. All is kept when it succeeds, else nothing.
    [[nodiscard]] virtual SyncResult<> transaction(const std::function<SyncResult<>()>& body) = 0;

    /// A number that stays the same as long as nothing was changed, by whomever.
    [[nodiscard]] virtual SyncResult<std::int64_t> version() = 0;

    [[nodiscard]] virtual MirrorJournal& journal() = 0;
};

} // namespace nimbe
