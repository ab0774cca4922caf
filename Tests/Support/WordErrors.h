#pragma once

#include <cstddef>
#include <string_view>

namespace nimbe {

/// How far what was recognised is from what was said, in words: case, punctuation and
/// hyphens do not count, "Mr." is "mister".
struct WordErrors {
    std::size_t wrong = 0; // substituted, missing or added
    std::size_t words = 0; // of what was said

    [[nodiscard]] static WordErrors between(std::string_view said, std::string_view recognised);
};

} // namespace nimbe
