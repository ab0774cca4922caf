#pragma once

#include <cstdio>
#include <cstdlib>

/// Aborts when a property does not hold, so that the fuzzer keeps the input.
inline void check(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
}
