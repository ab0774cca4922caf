#pragma once

#include <cstdio>
#include <string>

namespace nimbe {

/// A line for the client's log, on standard error.
inline void report(std::string line) {
    line.insert(0, "nimbe-mcp: ").append("\n");
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace nimbe
