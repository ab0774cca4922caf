#pragma once

#include <memory>
#include <vector>

#include "Foundation/HttpClient.h"
#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Language/LanguageModel.h"

namespace nimbe {

/// A model behind a server that speaks the chat completions of the OpenAI API: llama.cpp's,
/// Ollama, LM Studio. Which one, and which model, is found out; LanguageModelSettings says
/// where to look. Nothing is sent to another machine unless that is allowed there, and no
/// redirect is followed.
class ChatCompletionsModel final : public LanguageModel {
public:
    /// What is known of a server is good for so long.
    static constexpr Seconds remembered = 10;
    /// For a server to say what it has.
    static constexpr Seconds probeDeadline = 2;
    /// For a model to be loaded; a large one on a slow disk takes a minute.
    static constexpr Seconds prewarmDeadline = 120;

    /// Of this machine, asked where no address is set: llama.cpp's old and new one, Ollama's,
    /// LM Studio's. The first with a usable model counts.
    struct Options {
        std::vector<int> ports = {8080, 9931, 11434, 1234};
    };

    /// Lent; all outlive the model.
    ChatCompletionsModel(MainActor& actor, HttpClient& http, UserDefaults& defaults, LogSink& log)
        : ChatCompletionsModel(actor, http, defaults, log, Options()) {}
    ChatCompletionsModel(
        MainActor& actor, HttpClient& http, UserDefaults& defaults, LogSink& log, Options options);
    ~ChatCompletionsModel() override;
    ChatCompletionsModel(const ChatCompletionsModel&) = delete;
    ChatCompletionsModel& operator=(const ChatCompletionsModel&) = delete;

    [[nodiscard]] Published<Availability>& availability() override;
    void refresh() override;
    [[nodiscard]] Task<Availability> check() override;
    void prewarm(std::string instructions) override;
    [[nodiscard]] Task<Result<Response, LanguageModelError>> respond(
        Request request, OnPartial onPartial) override;

private:
    class State;
    std::shared_ptr<State> state; // what runs in the background holds it weakly
};

} // namespace nimbe
