#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Task.h"
#include "Foundation/UserDefaults.h"

namespace nimbe {

/// A record as the cloud has it. All that tells something is in the payload, sealed.
struct CloudRecord {
    std::string kind; // SyncSchema's raw value, or a newer version's
    std::string id;   // tells nothing but which record it is
    std::int64_t revision = 0;
    bool isDeleted = false; // a tombstone; it stays for good
    Bytes payload = {};

    friend bool operator==(const CloudRecord&, const CloudRecord&) = default;
};

struct CloudError {
    enum class Kind {
        unreachable, // no connection, or it broke off: what was sent may have arrived
        refused,     // the account or its rights
        full,        // no room for more
        failed       // anything else
    };
    Kind kind = Kind::failed;
    std::string detail = {}; // for the log

    [[nodiscard]] std::string_view message() const; // for the user, one sentence
};

/// The user's private cloud: the current state of every record, by kind and id.
///
/// Each accepted push gives its record a new revision from one sequence, which begins at 1
/// and only rises; numbers may be left out. Revisions become visible in their order: once a
/// pull has handed out one, no lower one appears any more. Each has a mark, a random text that
/// only revisions of the same push share: a cloud that was restored from a backup gives out
/// revisions once more, with other marks. So a device finds out, whatever the backup brought
/// back.
///
/// In PostgreSQL a plain sequence does not keep to that order, since transactions end in
/// another than they began. In one transaction, at READ COMMITTED, for each user:
///
///     UPDATE counters SET revision = revision + $count WHERE owner = $user RETURNING revision
///         -- first: its row lock lasts to the commit, so that pushes come one by one; then
///         -- it is looked up whether the position is known
///     INSERT INTO marks VALUES ($user, $last, gen_random_uuid())  -- $last: that revision
///     INSERT INTO records … ON CONFLICT (owner, kind, id) DO NOTHING          -- base 0
///     UPDATE records SET … WHERE owner, kind, id AND revision = $base         -- another base
///         -- no row: read what stands there
///
/// A page is one statement, or a transaction at REPEATABLE READ; the mark of a revision is that
/// of the push that gave it: the lowest in `marks` that is not below. One of revision 0 is
/// made with the user's counter.
///
/// Main thread. A call may fail, hang, or be answered late: callers set a deadline, and
/// dropping the task drops the answer, not what was sent. The same push may be sent again.
class CloudDatabase {
public:
    static constexpr std::size_t longestPage = 200;

    virtual ~CloudDatabase() = default;

    /// What a device has seen of a cloud: all up to a revision, with its mark.
    struct Position {
        std::string mark; // empty: nothing of any cloud
        std::int64_t revision = 0;
        friend bool operator==(const Position&, const Position&) = default;
    };

    struct Page {
        std::string mark; // of the last record's revision; without records the position's own
        std::vector<CloudRecord> records; // by rising revision
        bool isLast = true;
        /// The position is none of this cloud (a new account, a restored backup): the page is
        /// the first of all.
        bool isAnew = false;
    };
    /// Records whose revision is above the position's, each once, as it is now; tombstones too.
    [[nodiscard]] virtual Task<Result<Page, CloudError>> pull(
        Position since, std::size_t limit) = 0;

    struct Pushed {
        bool isAccepted = false;
        std::int64_t revision = 0; // where accepted: the new one
        /// Where not: the record that stands there. Absent: none does (its base is not 0).
        std::optional<CloudRecord> current = {};
    };
    /// Each record is accepted if the cloud's revision of it is the one that it carries, its
    /// base; 0 where it has none. Each by itself; the answers are in the records' order. An
    /// error where `known`, from which the bases are, is no position of this cloud.
    [[nodiscard]] virtual Task<Result<std::vector<Pushed>, CloudError>> push(
        Position known, std::vector<CloudRecord> records) = 0;
};

} // namespace nimbe
