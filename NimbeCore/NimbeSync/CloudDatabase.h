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
/// and only rises. Revisions become visible in their order: once a pull has handed out one,
/// no lower one appears any more. (In PostgreSQL a plain sequence does not keep to that, since
/// transactions end in another order than they began: take the number from a one-row counter
/// table, `UPDATE … RETURNING`, in the pushing transaction, whose row lock lasts to the
/// commit. A record is `INSERT … ON CONFLICT (kind, id) DO UPDATE … WHERE revision = $base`;
/// no row back means that somebody was there first.)
///
/// Main thread. A call may fail, hang, or be answered late: callers set a deadline, and
/// dropping the task drops the answer, not what was sent. The same push may be sent again.
class CloudDatabase {
public:
    static constexpr std::size_t longestPage = 200;

    virtual ~CloudDatabase() = default;

    struct Page {
        /// Which database this is: another text where revisions have begun anew or gone back
        /// (a new account, a restored backup).
        std::string identity;
        std::vector<CloudRecord> records; // by rising revision
        bool isLast = true;
    };
    /// Records whose revision is above `since`, each once, as it is now; tombstones too.
    [[nodiscard]] virtual Task<Result<Page, CloudError>> pull(
        std::int64_t since, std::size_t limit) = 0;

    struct Pushed {
        bool isAccepted = false;
        std::int64_t revision = 0; // where accepted: the new one
        /// Where not: the record that stands there. Absent: none does (its base is not 0).
        std::optional<CloudRecord> current = {};
    };
    /// Each record is accepted if the cloud's revision of it is the one that it carries, its
    /// base; 0 where it has none. Each by itself; the answers are in the records' order.
    [[nodiscard]] virtual Task<Result<std::vector<Pushed>, CloudError>> push(
        std::vector<CloudRecord> records) = 0;
};

} // namespace nimbe
