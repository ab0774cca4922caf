#pragma once

#include <functional>
#include <optional>
#include <string>

namespace nimbe {

/// What the running application is doing, as it tells other programs.
struct RemoteStatus {
    // "idle", "preparing", "recording", "finalizing", "done" or "unavailable".
    std::string phase;
    std::optional<std::string> message = {}; // of done and unavailable
    std::optional<std::string> target = {};  // the application that the text is for
    bool isLatched = false;                  // recording hands-free

    friend bool operator==(const RemoteStatus&, const RemoteStatus&) = default;
};

/// What other programs of the same user and session may ask of the running application:
/// the handlers, called on the main thread.
struct RemoteHandlers {
    // False: not now. start: something runs already or a text is being finished; stop and
    // cancel: nothing runs.
    std::function<bool()> toggle;
    std::function<bool()> start;
    std::function<bool()> stop;
    std::function<bool()> cancel;
    std::function<RemoteStatus()> status;
    std::function<void()> activate; // show the window: the program was started once more
    std::function<void()> quit;
};

} // namespace nimbe
