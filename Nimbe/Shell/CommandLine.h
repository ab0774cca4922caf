#pragma once

#include <iosfwd>

namespace nimbe {

/// What a verb reads and writes.
struct Streams {
    std::istream& input;
    std::ostream& output;
    std::ostream& error;
};

/// How a verb ended.
struct ExitCode {
    static constexpr int success = 0;
    static constexpr int failure = 1;       // the input is bad or the output cannot be written
    static constexpr int usage = 2;         // the command line is wrong
    static constexpr int interrupted = 130; // as shells have it for Ctrl+C
};

class ShellServices;

/// Runs the verb that the arguments name; returns the process's exit code.
[[nodiscard]] int runCommandLine(
    int argc, const char* const* argv, ShellServices& services, Streams streams);

} // namespace nimbe
