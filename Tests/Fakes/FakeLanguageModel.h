#pragma once

#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "NimbeEngine/Language/LanguageModel.h"

namespace nimbe {

/// Scripted answers, in order; keeps what it was asked. With none left it stays silent,
/// like a server that hangs.
class FakeLanguageModel final : public LanguageModel {
public:
    struct Answer {
        Result<Response, LanguageModelError> response;
        std::vector<Json> partials = {}; // before it, when they are asked for
        bool neverEnds = false;          // after the partials it stays silent
    };
    std::deque<Answer> answers;
    std::vector<Request> asked;
    std::vector<std::string> prewarmed;
    int refreshed = 0;
    Published<Availability> published{
        Availability{.kind = Availability::Kind::available, .model = "tiny"}};
    std::optional<Availability> found; // by the next checks; absent: what is published

    /// The next answer is an object with this one text.
    void answer(std::string_view field, std::string text, bool isWhole = true) {
        answers.push_back({Response{object(field, std::move(text)), isWhole}});
    }
    void fail(LanguageModelError::Kind kind) {
        answers.push_back({failure(LanguageModelError{kind})});
    }
    [[nodiscard]] static Json object(std::string_view field, std::string text) {
        Json content;
        content.set(field, Json(std::move(text)));
        return content;
    }

    [[nodiscard]] Published<Availability>& availability() override { return published; }
    void refresh() override { ++refreshed; }
    [[nodiscard]] Task<Availability> check() override {
        refresh();
        if (found) published.set(*found);
        co_return published.get();
    }
    void prewarm(std::string instructions) override {
        prewarmed.push_back(std::move(instructions));
    }
    [[nodiscard]] Task<Result<Response, LanguageModelError>> respond(
        Request request, OnPartial onPartial) override {
        asked.push_back(std::move(request));
        if (answers.empty()) co_await never();
        auto answer = std::move(answers.front());
        answers.pop_front();
        for (const auto& partial : answer.partials)
            if (onPartial && !onPartial(partial))
                co_return failure(LanguageModelError{LanguageModelError::Kind::stopped});
        if (answer.neverEnds) co_await never();
        co_return std::move(answer.response);
    }
};

} // namespace nimbe
