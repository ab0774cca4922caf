#include "NimbeShell/TransformWords.h"

#include <algorithm>
#include <numeric>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

struct Name {
    std::string_view name;
    NoteTransform transform;
};

std::vector<Name> names() {
    std::vector<Name> all;
    for (const auto preset : allTransformPresets) all.push_back({rawValue(preset), preset});
    all.push_back({"fix", FixTransform()});
    return all;
}

std::string lowerCase(std::string word) {
    std::transform(word.begin(), word.end(), word.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return word;
}

/// Letters to add, to take out or to change; one row of Levenshtein's table at a time.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const auto changed = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j + 1] + 1, row[j] + 1});
        }
    }
    return row.back();
}

/// Of one word alone; null where none is near.
const Name* nearest(const std::vector<Name>& all, const std::string& word) {
    constexpr std::size_t shortName = 3; // two other letters make most words of it
    constexpr std::size_t longest = 16;  // bytes; no name with two letters more has so many
    if (word.size() > longest) return nullptr;
    const auto found = std::min_element(all.begin(), all.end(), [&](const auto& a, const auto& b) {
        return distance(word, a.name) < distance(word, b.name);
    });
    const std::size_t near = found->name.size() <= shortName ? 1 : 2;
    return distance(word, found->name) <= near ? &*found : nullptr;
}

Result<NoteTransform, std::string> ownWords(const std::string& instruction) {
    if (!text::isValidUtf8(instruction))
        return failure(std::string("The instruction is not UTF-8."));
    const std::string trimmed(text::trimmed(instruction));
    if (trimmed.empty()) return failure(std::string("The instruction is empty."));
    return NoteTransform(CustomTransform{trimmed});
}

} // namespace

Result<NoteTransform, std::string> TransformWords::transform() const {
    if (instruction) return ownWords(*instruction);
    std::string joined;
    for (const auto& word : words) joined += (joined.empty() ? "" : " ") + word;
    const std::string trimmed(text::trimmed(joined));
    const bool isOneWord = trimmed.find(' ') == trimmed.npos;
    const auto all = names();
    const auto* name = isOneWord && !trimmed.empty() ? nearest(all, lowerCase(trimmed)) : nullptr;
    if (!name) return ownWords(joined);
    if (name->name == lowerCase(trimmed)) return name->transform;
    return failure("Did you mean \"" + std::string(name->name) +
                   "\"? If the word is your instruction: --instruction " + trimmed);
}

} // namespace nimbe
