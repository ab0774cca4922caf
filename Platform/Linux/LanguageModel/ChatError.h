#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Json.h"
#include "NimbeEngine/Language/LanguageModelError.h"

namespace nimbe {

/// What a server says when it does not answer: {"error": …}, an object with "message",
/// "type" and "code", or only a text.
struct ChatError {
    int status = 200; // in an answer, or midway in one: 200 all the same
    /// All its words in lower case. They may repeat what was asked: never for the log.
    std::string words = {};

    /// Absent: none is told there.
    [[nodiscard]] static std::optional<ChatError> in(const Json& json, int status = 200);
    /// Whatever comes with an error's status.
    [[nodiscard]] static ChatError ofBody(int status, std::string_view body);

    [[nodiscard]] bool says(std::string_view part) const { return words.find(part) != words.npos; }
    [[nodiscard]] bool isTooLong() const;
    /// The model is not ready yet.
    [[nodiscard]] bool isLoading() const;
    /// There is no model, or not that one.
    [[nodiscard]] bool lacksModel() const;

    // The server does not know, or does not like, this part of a request.
    [[nodiscard]] bool refusesSchema() const;
    [[nodiscard]] bool refusesThinkingSwitch() const;
    [[nodiscard]] bool refusesUsage() const;

    [[nodiscard]] LanguageModelError error() const;
};

} // namespace nimbe
