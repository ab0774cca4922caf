#pragma once

#include <string_view>

namespace nimbe {

/// Whether a model's cleaned text may stand for what was said.
struct CleanupPolicy {
    /// So many user-perceived characters may always come.
    static constexpr std::size_t alwaysAccepted = 80;
    /// Beyond them, at most so many times those of the source.
    static constexpr double mostGrowth = 1.6;

    /// White space at both ends does not count. There is no lower bound.
    [[nodiscard]] static bool accepts(std::string_view source, std::string_view cleaned);
};

} // namespace nimbe
