#pragma once

#include <deque>
#include <utility>
#include <vector>

#include "NimbeEngine/Transform/TransformProvider.h"

namespace nimbe {

/// Scripted answers, in order, each after its partial texts; keeps what it was given. With
/// none left it never ends.
class FakeTransformProvider final : public TransformProvider {
public:
    struct Answer {
        Result<Outcome, LanguageModelError> outcome;
        std::vector<Partial> partials = {};
        bool neverEnds = false; // after the partials it stays silent
    };
    std::deque<Answer> answers;
    std::vector<std::pair<NoteTransform, std::string>> given;

    [[nodiscard]] Task<Result<Outcome, LanguageModelError>> transform(
        NoteTransform transform, std::string text, OnPartial onPartial) override {
        given.emplace_back(std::move(transform), std::move(text));
        if (answers.empty()) co_await never();
        auto answer = std::move(answers.front());
        answers.pop_front();
        for (const auto& partial : answer.partials)
            if (!onPartial(partial))
                co_return failure(LanguageModelError{LanguageModelError::Kind::stopped});
        if (answer.neverEnds) co_await never();
        co_return std::move(answer.outcome);
    }
};

} // namespace nimbe
