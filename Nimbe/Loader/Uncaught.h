#pragma once

#include <cstdio>
#include <exception>

namespace nimbe {

/// The exit code of `run`, or 1 and a line on standard error where it ended by an exception.
/// The outermost function of the executable, and of each library that is loaded: exceptions
/// do not pass from one to the other, which need not share a C++ runtime.
template <typename Run>
[[nodiscard]] int reportingUncaught(Run run) {
    try {
        return run();
    } catch (const std::exception& error) {
        // Memory ran out, most likely.
        std::fprintf(stderr, "nimbe: %s\n", error.what());
        return 1;
    }
}

} // namespace nimbe
