#pragma once

#include <string>

#include "Foundation/HttpClient.h"
#include "NimbeEngine/Language/LanguageModel.h"
#include "PlatformLanguageModel/ChatError.h"

namespace nimbe {

/// One request for a chat completion and its answer, which is streamed.
struct ChatExchange {
    /// Why there is no answer, and what that tells of the server.
    struct Failure {
        enum class Server { answers, loads, isGone, isSilent };
        LanguageModelError error;
        Server server = Server::answers;
        std::optional<ChatError> refusal = {};
        bool isAnswer = false; // the model did answer, but nothing that can be used
    };
    using Answer = Result<LanguageModel::Response, Failure>;

    /// A finger's breadth below what a reader sees as steady motion; less often where a
    /// partial answer costs more than a quarter of the time.
    static constexpr Seconds partialInterval = 0.04;
    /// For what comes behind the end of a streamed answer.
    static constexpr Seconds endDeadline = 1;

    MainActor& actor;
    HttpClient& http;
    std::string url;
    std::string body;
    LanguageModel::Request request; // with the deadline that is left for this exchange
    /// Set when a first byte of the answer has come. Lent: outlives the task.
    bool* hasBytes = nullptr;

    /// Ends at the request's deadlines. The receiver may be empty.
    [[nodiscard]] static Task<Answer> run(
        ChatExchange exchange, LanguageModel::OnPartial onPartial);

    /// Bytes of an answer to that request: more cannot be meant.
    [[nodiscard]] static std::size_t largestAnswer(const LanguageModel::Request& request);
};

} // namespace nimbe
