#pragma once

#include <gtest/gtest.h>

#include "FakeServers.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Foundation/TaskScope.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"
#include "PlatformLanguageModel/ChatCompletionsModel.h"
#include "Recorded.h"

namespace nimbe {

/// A model behind a fake server, "any other" unless a test puts its own.
struct ModelScene : testing::Test {
    using Kind = LanguageModel::Availability::Kind;
    using Responded = Result<LanguageModel::Response, LanguageModelError>;

    const std::string base = "http://127.0.0.1:7000";
    const std::string list = base + "/v1/models";
    const std::string chat = base + "/v1/chat/completions";

    ManualMainActor actor;
    FakeServers http{actor};
    MemoryUserDefaults defaults;
    FakeLogSink log;
    ChatCompletionsModel model{actor, http, defaults, log, {{7000}}};
    TaskHandle asking;
    std::optional<Responded> responded;

    void serve() { http.put(list, R"({"data":[{"id":"m"},{"id":"n"}]})"); }
    void answer(const std::string& text) { http.put(chat, answerOf(text)); }
    [[nodiscard]] static std::string answerOf(const std::string& text) {
        return R"({"choices":[{"message":{"content":"{\"text\":\")" + text +
               R"(\"}"},"finish_reason":"stop"}]})";
    }
    [[nodiscard]] static FakeServers::Page silence() {
        FakeServers::Page page;
        page.hangs = true;
        return page;
    }
    [[nodiscard]] static FakeServers::Page status(int status, std::string body) {
        FakeServers::Page page;
        page.answer = HttpResponse{status, {}, std::move(body)};
        return page;
    }
    [[nodiscard]] static FakeServers::Page broken(HttpError::Kind kind) {
        FakeServers::Page page;
        page.answer = failure(HttpError{kind, "a reason"});
        return page;
    }

    [[nodiscard]] static LanguageModel::Request request(Seconds deadline = 8) {
        return {"Instructions.", "Private words.", {"Answer", {{"text", "A text."}}}, deadline};
    }
    void begin(LanguageModel::Request asked, LanguageModel::OnPartial onPartial = {}) {
        responded.reset();
        asking = startTask(
            actor, take(model.respond(std::move(asked), std::move(onPartial)), &responded));
        actor.runPosted();
    }
    /// "a" for {"text":"a"}, "part: a" where it is not whole, or the error's number.
    [[nodiscard]] std::string result() const {
        if (!responded) return "waits";
        if (!*responded) return std::to_string(static_cast<int>(responded->error().kind));
        const auto* text = (*responded)->content.member("text");
        return ((*responded)->isWhole ? "" : "part: ") + (text ? *text->asString() : "none");
    }
    std::string ask() {
        begin(request());
        return result();
    }
    [[nodiscard]] Kind known() { return model.availability().get().kind; }
    Kind refreshed() {
        model.refresh();
        actor.advance(2);
        return known();
    }
    void prewarm(const std::string& instructions = "Instructions.") {
        model.prewarm(instructions);
        actor.runPosted();
    }
    [[nodiscard]] static std::string number(LanguageModelError::Kind kind) {
        return std::to_string(static_cast<int>(kind));
    }

private:
    static Task<void> take(Task<Responded> task, std::optional<Responded>* responded) {
        auto result = co_await task;
        responded->emplace(std::move(result));
    }
};

} // namespace nimbe
