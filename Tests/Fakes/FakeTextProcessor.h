#pragma once

#include <deque>
#include <utility>
#include <vector>

#include "NimbeEngine/Cleanup/TextProcessor.h"

namespace nimbe {

/// Scripted texts, in order; keeps what it was given. With none left it never ends.
class FakeTextProcessor final : public TextProcessor {
public:
    std::deque<std::string> answers;
    std::vector<std::pair<std::string, DictationMode>> given;

    [[nodiscard]] Task<std::string> process(std::string text, DictationMode mode) override {
        given.emplace_back(std::move(text), mode);
        if (answers.empty()) co_await never();
        auto answer = std::move(answers.front());
        answers.pop_front();
        co_return answer;
    }
};

} // namespace nimbe
