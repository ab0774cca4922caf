#pragma once

#include <cstdint>

namespace nimbe {

/// What an unclean end of the run before means.
struct CrashSentinel {
    struct LaunchAssessment {
        bool uncleanShutdown = false;
        std::int64_t consecutiveCount = 0; // unclean ends in a row
        bool offerLocalOnly = false;       // from the second one on

        friend bool operator==(const LaunchAssessment&, const LaunchAssessment&) = default;
    };

    /// `unclean`: the run before left its sentinel; `priorCount`: what stands in it, which
    /// must not be the largest number.
    [[nodiscard]] static LaunchAssessment assess(bool unclean, std::int64_t priorCount);
};

} // namespace nimbe
