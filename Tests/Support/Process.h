#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nimbe {

/// A program that ran to its end.
struct Process {
    int exitCode = -1; // -1: it did not end by itself
    std::string output;
    std::string error;
    long peakMemory = 0; // kB of it that were in memory, at most

    /// Feeds `input` to the program at `arguments[0]` and collects what it writes.
    /// It is killed after half a minute, or so many seconds, without a sign of life.
    [[nodiscard]] static Process run(
        std::vector<std::string> arguments, std::string_view input, int patience = 30);
};

} // namespace nimbe
