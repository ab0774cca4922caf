#pragma once

#include <cstdint>
#include <optional>

#include "NimbeEngine/Language/LanguageModel.h"
#include "PlatformLanguageModel/AnswerText.h"
#include "PlatformLanguageModel/ChatError.h"

namespace nimbe {

/// A chat completion: as one object, or as the chunks of a stream, taken one by one.
class ChatCompletion {
public:
    /// The whole object, or a chunk. What is not understood in it is passed over. What a
    /// model thinks, in fields of its own, counts only where it is an object of the form
    /// asked for and nothing else is said: LM Studio takes some models' answers for that.
    void take(const Json& json);
    /// The answer ends here, as its own end mark says.
    void end() { isEnded = true; }

    [[nodiscard]] const std::optional<ChatError>& error() const { return told; }
    /// It was said that, and why, the model ended.
    [[nodiscard]] bool hasFinished() const { return isEnded || isFinished; }
    [[nodiscard]] bool isEmpty() const { return text.bytes() == 0; }
    /// Bytes of the answer, thoughts included.
    [[nodiscard]] std::size_t bytes() const { return text.bytes() + thought.bytes(); }

    /// What there is while it is coming; absent: nothing of an object.
    [[nodiscard]] std::optional<Json> begun(const GeneratedType& type) const;
    /// Grows whenever begun() does.
    [[nodiscard]] std::size_t begunBytes() const { return text.object().usableBytes(); }

    /// After its end. `isStream`: an answer that has not finished is not whole.
    [[nodiscard]] Result<LanguageModel::Response, LanguageModelError> response(
        const LanguageModel::Request& request, bool isStream) const;

private:
    AnswerText text;
    AnswerText thought;
    std::optional<ChatError> told;
    std::optional<std::int64_t> promptTokens;
    bool isEnded = false;
    bool isFinished = false;
    bool isCut = false; // by a limit of the server or of the model

    void takeChoice(const Json& choice);
    [[nodiscard]] bool readsAll(const LanguageModel::Request& request) const;
    [[nodiscard]] Result<Json, LanguageModelError> whole(const GeneratedType& type) const;
    [[nodiscard]] Result<Json, LanguageModelError> unfinished(const GeneratedType& type) const;
};

} // namespace nimbe
