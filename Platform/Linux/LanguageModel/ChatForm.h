#pragma once

#include <optional>
#include <string>

#include "NimbeEngine/Language/LanguageModel.h"
#include "PlatformLanguageModel/ChatError.h"

namespace nimbe {

/// How a server wants to be asked. What it refuses is left out from then on.
struct ChatForm {
    /// How the form of the answer is told.
    enum class Schema {
        jsonSchema, // {"type": "json_schema", "json_schema": {…}}
        jsonObject, // {"type": "json_object", "schema": …}, of llama.cpp's older versions
        none
    };
    /// How a model is told not to think first.
    enum class Thinking {
        templateArgument, // llama.cpp: "chat_template_kwargs"
        effort,           // Ollama, LM Studio: "reasoning_effort"
        unsaid
    };
    Schema schema = Schema::jsonSchema;
    Thinking thinking = Thinking::unsaid;
    bool asksForUsage = true; // of a streamed answer

    /// The form to try after a refusal; absent: that was not about the form.
    [[nodiscard]] std::optional<ChatForm> after(const ChatError& refusal) const;

    /// The body of a request, whose answer is always streamed: llama.cpp writes one that is
    /// not to its end, whether or not anybody still waits for it. Instructions and prompt
    /// are sent as they are.
    [[nodiscard]] std::string body(const std::string& model, const LanguageModel::Request& request,
        std::optional<int> mostTokens = {}) const;

    friend bool operator==(const ChatForm&, const ChatForm&) = default;
};

} // namespace nimbe
