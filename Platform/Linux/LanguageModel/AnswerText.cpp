#include "PlatformLanguageModel/AnswerText.h"

#include <algorithm>
#include <array>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

struct Thought {
    std::string_view begin;
    std::string_view end;
    std::string_view behind = {}; // comes after the end and belongs to it
};

constexpr std::string_view finalChannel = "<|channel|>final";
constexpr std::string_view message = "<|message|>";

constexpr std::array thoughts = {
    Thought{"<think>", "</think>"},
    Thought{"<thinking>", "</thinking>"},
    Thought{"[THINK]", "[/THINK]"},
    Thought{"<|channel|>", finalChannel, message},
    Thought{"<|start|>", finalChannel, message},
};
constexpr std::size_t longestEnd = finalChannel.size();
// From the one mark to the other; "<|constrain|>json" may stand between them.
constexpr std::size_t furthestBehind = 64;

constexpr std::string_view fence = "```";
// "```json" and a line break, with room for other words.
constexpr std::size_t longestFence = 32;

constexpr std::string_view white = " \t\r\n";

/// Marks that servers leave at the end of an answer.
constexpr std::array<std::string_view, 5> endMarks = {
    "<|return|>", "<|end|>", "<|im_end|>", "</s>", fence};

std::string_view withoutEndMarks(std::string_view text, bool isFenced) {
    text = text::trimmed(text);
    for (const auto mark : endMarks) {
        if (!text.ends_with(mark) || (mark == fence && !isFenced)) continue;
        text.remove_suffix(mark.size());
        text = text::trimmed(text);
    }
    return text;
}

} // namespace

void AnswerText::add(std::string_view piece) {
    total += piece.size();
    if (hasObject) {
        const auto taken = json.add(piece);
        text += piece.substr(taken);
        return;
    }
    text += piece;
    locate();
}

bool AnswerText::isWholeObject() const {
    return hasObject && json.isWhole() && withoutEndMarks(text, true).empty();
}

std::string_view AnswerText::plain() const {
    if (hasObject) return {};
    const auto rest = std::string_view(text).substr(begin);
    const bool isThought = std::any_of(thoughts.begin(), thoughts.end(),
        [&](const Thought& thought) { return rest.starts_with(thought.begin); });
    return isThought ? std::string_view() : withoutEndMarks(rest, isFenced);
}

void AnswerText::locate() {
    do {
        begin = std::min(text.find_first_not_of(white, begin), text.size());
        if (begin == text.size()) return;
        if (text[begin] == '{') return beginObject();
    } while (skipThought() || skipFence());
}

void AnswerText::beginObject() {
    hasObject = true;
    const auto taken = json.add(std::string_view(text).substr(begin));
    text.erase(0, begin + taken);
}

/// False: there is none, or its end has not come yet.
bool AnswerText::skipThought() {
    const auto rest = std::string_view(text).substr(begin);
    const auto* first = std::find_if(thoughts.begin(), thoughts.end(),
        [&](const Thought& thought) { return rest.starts_with(thought.begin); });
    const auto* last = first == thoughts.end() ? first : first + 1;
    if (first == last) first = thoughts.begin();
    // The end of a thought may have begun to come.
    auto searchedNext = text.size() - std::min(text.size(), longestEnd);
    for (const auto* thought = first; thought != last; ++thought)
        if (skipTo(thought->end, thought->behind, searchedNext)) return true;
    searched = std::max(searched, searchedNext);
    return false;
}

bool AnswerText::skipTo(std::string_view end, std::string_view behind, std::size_t& searchedNext) {
    auto found = text.find(end, std::max(begin, searched));
    for (; found != text.npos; found = text.find(end, found + 1)) {
        const auto near = std::string_view(text).substr(found, furthestBehind);
        const auto last = near.find(behind, end.size());
        if (last != near.npos) {
            begin = found + last + behind.size();
            return true;
        }
        if (near.size() < furthestBehind) {
            searchedNext = std::min(searchedNext, found);
            return false;
        }
    }
    return false;
}

bool AnswerText::skipFence() {
    const auto rest = std::string_view(text).substr(begin, longestFence);
    if (isFenced || !rest.starts_with(fence)) return false;
    const auto lineEnd = rest.find('\n');
    const auto brace = rest.find('{');
    const auto end = std::min(lineEnd, brace);
    if (end == rest.npos) return false;
    isFenced = true;
    begin += end;
    return true;
}

} // namespace nimbe
