#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace nimbe {

/// An application that is or was in front: its window, and what is known of it. Two are
/// the same when their windows are.
struct RunningApplication {
    /// In the platform's own pixels, over all screens.
    struct Frame {
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
        friend bool operator==(const Frame&, const Frame&) = default;
    };

    std::uint64_t window = 0;                      // the platform's number of it
    std::optional<int> pid = {};                   // of a process on this machine
    std::optional<std::string> localizedName = {}; // for the user
    std::string windowClass = {};                  // which program it is, for rules about programs
    std::optional<Frame> frame = {};               // when it was asked for

    friend bool operator==(const RunningApplication& left, const RunningApplication& right) {
        return left.window == right.window;
    }
};

} // namespace nimbe
