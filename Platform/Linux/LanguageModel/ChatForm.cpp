#include "PlatformLanguageModel/ChatForm.h"

#include <utility>

#include "PlatformLanguageModel/GeneratedObject.h"

namespace nimbe {
namespace {

Json message(const char* role, const std::string& content) {
    Json message;
    message.set("role", Json(role));
    message.set("content", Json(content));
    return message;
}

Json with(const char* name, Json value) {
    Json object;
    object.set(name, std::move(value));
    return object;
}

Json responseFormat(ChatForm::Schema form, const GeneratedType& type) {
    Json format;
    if (form == ChatForm::Schema::jsonObject) {
        format.set("type", Json("json_object"));
        format.set("schema", GeneratedObject::schema(type));
        return format;
    }
    Json named;
    named.set("name", Json(type.name));
    named.set("strict", Json(true));
    named.set("schema", GeneratedObject::schema(type));
    format.set("type", Json("json_schema"));
    format.set("json_schema", std::move(named));
    return format;
}

} // namespace

std::optional<ChatForm> ChatForm::after(const ChatError& refusal) const {
    auto next = *this;
    if (thinking != Thinking::unsaid && refusal.refusesThinkingSwitch()) {
        next.thinking = Thinking::unsaid;
    } else if (asksForUsage && refusal.refusesUsage()) {
        next.asksForUsage = false;
    } else if (schema != Schema::none && refusal.refusesSchema()) {
        next.schema = schema == Schema::jsonSchema ? Schema::jsonObject : Schema::none;
    } else {
        return std::nullopt;
    }
    return next;
}

std::string ChatForm::body(const std::string& model, const LanguageModel::Request& request,
    std::optional<int> mostTokens) const {
    Json::Array messages;
    messages.push_back(message("system", request.instructions));
    messages.push_back(message("user", request.prompt));
    Json body;
    body.set("model", Json(model));
    body.set("messages", Json(std::move(messages)));
    if (schema != Schema::none) body.set("response_format", responseFormat(schema, request.type));
    body.set("stream", Json(true));
    if (asksForUsage) body.set("stream_options", with("include_usage", Json(true)));
    if (thinking == Thinking::templateArgument)
        body.set("chat_template_kwargs", with("enable_thinking", Json(false)));
    if (thinking == Thinking::effort) body.set("reasoning_effort", Json("none"));
    if (mostTokens) body.set("max_tokens", Json::integer(*mostTokens));
    return body.text();
}

} // namespace nimbe
