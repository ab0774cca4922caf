#pragma once

#include <string>
#include <string_view>

#include "Foundation/Result.h"
#include "NimbeApp/RemoteControl.h"

namespace nimbe {

struct RemoteError {
    enum class Kind {
        noBus,      // no session bus: nobody could be reached
        notRunning, // nobody has the name
        noAnswer,   // somebody has it and did not answer in time, or ended meanwhile
        failed      // the answer makes no sense
    };
    Kind kind = Kind::failed;
    std::string detail = {}; // for the log

    /// For the user.
    [[nodiscard]] std::string_view message() const {
        switch (kind) {
        case Kind::noBus: return "There is no session bus by which Nimbe could be reached.";
        case Kind::notRunning: return "Nimbe is not running.";
        case Kind::noAnswer: return "Nimbe is running but does not answer.";
        case Kind::failed: return "Nimbe gave no useful answer.";
        }
        return {};
    }
};

/// The application of this user and session that runs already, as another process of the
/// same program reaches it. Blocks for two seconds at most. What had no answer in time
/// may still be done.
class RemoteInstance {
public:
    enum class Command { toggle, start, stop, cancel };

    virtual ~RemoteInstance() = default;

    /// False: not now, see RemoteHandlers.
    [[nodiscard]] virtual Result<bool, RemoteError> ask(Command command) = 0;
    [[nodiscard]] virtual Result<RemoteStatus, RemoteError> status() = 0;
    /// It was asked to show its window.
    [[nodiscard]] virtual Result<void, RemoteError> activate() = 0;
    /// It was asked to end, which may take it some time.
    [[nodiscard]] virtual Result<void, RemoteError> quit() = 0;
};

} // namespace nimbe
