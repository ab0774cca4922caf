#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace nimbe {

/// In lower case, without punctuation, "Mr." written out; hyphens part words.
[[nodiscard]] std::vector<std::string> wordsOf(std::string_view text);

/// How far what was recognised is from what was said.
struct WordErrors {
    std::size_t wrong = 0; // substituted, missing or added
    std::size_t words = 0; // of what was said

    [[nodiscard]] static WordErrors between(
        const std::vector<std::string>& said, const std::vector<std::string>& recognised);
    [[nodiscard]] static WordErrors between(std::string_view said, std::string_view recognised) {
        return between(wordsOf(said), wordsOf(recognised));
    }
};

} // namespace nimbe
