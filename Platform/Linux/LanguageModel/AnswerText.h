#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "PlatformLanguageModel/PartialJson.h"

namespace nimbe {

/// What a model writes, without what it thought before and the fences around it: either an
/// object or plain text. Models mark their thoughts with <think>…</think> and the like,
/// some without the beginning, since that stands in their prompt. What begins with a brace
/// is the object, whatever stands in it. Linear in the text.
class AnswerText {
public:
    void add(std::string_view piece);

    /// Of all pieces.
    [[nodiscard]] std::size_t bytes() const { return total; }
    /// An object has begun.
    [[nodiscard]] bool isObject() const { return hasObject; }
    [[nodiscard]] const PartialJson& object() const { return json; }
    /// The object is closed, and behind it there is nothing but the end of a fence.
    [[nodiscard]] bool isWholeObject() const;
    /// As much of plain text as there is. It may turn out to be thought while more comes.
    [[nodiscard]] std::string_view plain() const;

private:
    std::string text; // until an object begins, then what follows it
    std::size_t total = 0;
    std::size_t begin = 0;    // before it, there are only thoughts
    std::size_t searched = 0; // no end of a thought begins before
    bool isFenced = false;
    bool hasObject = false;
    PartialJson json;

    void locate();
    [[nodiscard]] bool skipThought();
    [[nodiscard]] bool skipFence();
    [[nodiscard]] bool skipTo(
        std::string_view end, std::string_view behind, std::size_t& searchedNext);
    void beginObject();
};

} // namespace nimbe
