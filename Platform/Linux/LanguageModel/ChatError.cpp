#include "PlatformLanguageModel/ChatError.h"

#include <algorithm>
#include <initializer_list>

namespace nimbe {
namespace {

void append(std::string& words, std::string_view text) {
    for (const char c : text) words += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    words += '\n';
}

bool saysAny(const ChatError& error, std::initializer_list<std::string_view> parts) {
    return std::any_of(
        parts.begin(), parts.end(), [&](std::string_view part) { return error.says(part); });
}

/// Of a request that is of no good form to the server.
bool isOfForm(int status) {
    return status == 400 || status == 422;
}

} // namespace

std::optional<ChatError> ChatError::in(const Json& json, int status) {
    const auto* told = json.member("error");
    if (!told || told->isNull()) return std::nullopt;
    ChatError error{status};
    if (const auto* text = told->asString()) append(error.words, *text);
    for (const auto* const name : {"message", "type", "code"}) {
        const auto* part = told->member(name);
        if (part && part->asString()) append(error.words, *part->asString());
    }
    return error;
}

ChatError ChatError::ofBody(int status, std::string_view body) {
    if (const auto json = Json::parse(body))
        if (auto error = in(*json, status)) return *error;
    ChatError error{status};
    append(error.words, body);
    return error;
}

// As llama.cpp, LM Studio (two versions) and the OpenAI API say it.
bool ChatError::isTooLong() const {
    return status == 413 || saysAny(*this, {"exceed_context_size", "context size", "context length",
                                               "context_length", "context the overflows", "n_ctx"});
}

bool ChatError::isLoading() const {
    return status == 503 && saysAny(*this, {"unavailable_error", "loading model"});
}

bool ChatError::lacksModel() const {
    if (status != 400 && status != 404) return false;
    return saysAny(*this, {"model_not_found", "no models loaded", "invalid model identifier"}) ||
           (says("model") && says("not found"));
}

bool ChatError::refusesSchema() const {
    return isOfForm(status) && saysAny(*this, {"response_format", "schema", "grammar"});
}

bool ChatError::refusesThinkingSwitch() const {
    return isOfForm(status) && saysAny(*this, {"reasoning", "thinking", "chat_template_kwargs"});
}

bool ChatError::refusesUsage() const {
    return isOfForm(status) && says("stream_options");
}

LanguageModelError ChatError::error() const {
    using Kind = LanguageModelError::Kind;
    const auto kind = isTooLong()                   ? Kind::tooLong
                      : isLoading() || lacksModel() ? Kind::unavailable
                                                    : Kind::refused;
    return {kind, "status " + std::to_string(status)};
}

} // namespace nimbe
