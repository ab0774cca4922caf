#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Foundation/Result.h"
#include "Support/TestHttpServer.h"
#include "Support/TestModelServerOptions.h"

namespace nimbe {

/// A request for a chat completion, as the server of a dialect reads it: what the one
/// refuses another one ignores.
struct TestModelServerRequest {
    std::string model; // that answers, not always the one that is asked for
    TestModelServerOptions::Question question;
    bool isStreamed = false;
    bool wantsUsage = false; // at the end of a stream
    bool thinks = false;
    std::optional<std::int64_t> mostTokens = {};
    std::size_t promptTokens = 0; // that the model has read

    /// The error is the server's answer.
    [[nodiscard]] static Result<TestModelServerRequest, TestHttpServer::Page> read(
        const TestModelServerOptions& options, const TestHttpServer::Request& request);
    /// Leaves of the prompt what fits beside the instructions into so many tokens.
    void cutPrompt(std::size_t tokens);
};

} // namespace nimbe
