#include "Support/WordErrors.h"

#include <algorithm>
#include <cctype>

namespace nimbe {

std::vector<std::string> wordsOf(std::string_view text) {
    std::vector<std::string> words(1);
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) || c == '\'' || byte >= 0x80)
            words.back() += static_cast<char>(std::tolower(byte));
        else if ((std::isspace(byte) || c == '-') && !words.back().empty())
            words.emplace_back();
    }
    if (words.back().empty()) words.pop_back();
    std::replace(words.begin(), words.end(), std::string("mr"), std::string("mister"));
    return words;
}

WordErrors WordErrors::between(
    const std::vector<std::string>& expected, const std::vector<std::string>& found) {
    // The edit distance, a row of its table at a time.
    std::vector<std::size_t> row(found.size() + 1);
    for (std::size_t i = 0; i < row.size(); ++i) row[i] = i;
    for (std::size_t i = 1; i <= expected.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j < row.size(); ++j) {
            const std::size_t same = diagonal + (expected[i - 1] == found[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({same, row[j] + 1, row[j - 1] + 1});
        }
    }
    return {row.back(), expected.size()};
}

} // namespace nimbe
