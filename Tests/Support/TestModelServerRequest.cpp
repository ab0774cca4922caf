#include "Support/TestModelServerRequest.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "Foundation/Text.h"
#include "Support/TestModelServerDialect.h"

namespace nimbe {
namespace {

using Options = TestModelServerOptions;
using Dialect = Options::Dialect;
using Question = Options::Question;
using Page = TestHttpServer::Page;
using Read = TestModelServerRequest;

std::size_t tokensOf(std::string_view text) {
    return (text.size() + 3) / 4;
}

bool is(const Json* value, std::string_view text) {
    return value && value->asString() && *value->asString() == text;
}

/// One step of reading: absent where the server goes on.
using Refusal = std::optional<Page>;

class Reader {
public:
    Reader(const Options& options, Read& read) : options(options), read(read) {}

    Refusal body(const Json& body) {
        if (auto refusal = messages(body)) return refusal;
        if (auto refusal = model(body)) return refusal;
        if (auto refusal = thinking(body)) return refusal;
        if (auto refusal = form(body.member("response_format"))) return refusal;
        if (const auto* schema = body.member("json_schema");
            schema && options.dialect == Dialect::llamaCpp)
            constrain(schema);
        if (auto refusal = grammar()) return refusal;
        if (const auto* limit = body.member("max_tokens"); limit && !limit->isNull()) {
            if (!limit->asNumber())
                return refuse("Field 'max_tokens': [json.exception.type_error.302] type must be "
                              "number, but is string");
            read.mostTokens = limit->asInteger();
        }
        if (const auto* stream = body.member("stream")) read.isStreamed = stream->asBool() == true;
        if (const auto* wanted = body.member("stream_options"))
            if (const auto* usage = wanted->member("include_usage"))
                read.wantsUsage = usage->asBool() == true;
        return context();
    }

private:
    const Options& options;
    Read& read;

    [[nodiscard]] Page refuse(const std::string& message, int status = 400,
        const std::string& type = {}, const std::string& code = {}) const {
        return modelserver::errorPage(options.dialect, status, message, type, code);
    }

    Refusal messages(const Json& body) {
        const bool isOllama = options.dialect == Dialect::ollama;
        const auto* member = body.member("messages");
        const auto* all = member ? member->asArray() : nullptr;
        if (!member && !isOllama) return refuse("'messages' is required");
        if (!all && !isOllama) return refuse("Expected 'messages' to be an array");
        if (!all || all->empty()) return refuse("[] is too short - 'messages'");
        for (const auto& message : *all) {
            const auto* content = message.member("content");
            const auto* text = content ? content->asString() : nullptr;
            if (!text)
                return refuse(isOllama ? "invalid message content type: float64"
                                       : "Expected 'content' to be a string or an array");
            auto& place = is(message.member("role"), "system") ? read.question.instructions
                                                               : read.question.prompt;
            place += *text;
        }
        return std::nullopt;
    }

    Refusal model(const Json& body) {
        const auto* member = body.member("model");
        const std::string asked = member && member->asString() ? *member->asString() : "";
        const auto found = std::find_if(
            options.models.begin(), options.models.end(), [&](const Options::Model& model) {
                return model.id == asked ||
                       (options.dialect == Dialect::ollama && model.id == asked + ":latest");
            });
        const bool isThere = found != options.models.end();
        read.model = asked;
        switch (options.dialect) {
        case Dialect::llamaCpp:
            if (options.models.size() == 1) {
                read.model = options.models.front().id; // whatever the name
                return std::nullopt;
            }
            if (asked.empty()) return refuse("model name is missing from the request");
            if (!isThere) return refuse("model '" + asked + "' not found");
            return std::nullopt;
        case Dialect::ollama:
            if (asked.empty()) return refuse("model is required");
            if (!isThere) return refuse("model '" + asked + "' not found", 404);
            if (found->isEmbedding) return refuse("\"" + asked + "\" does not support chat");
            return std::nullopt;
        case Dialect::lmStudio:
            if (options.models.empty())
                return refuse("No models loaded. Please load a model in the developer page or "
                              "use the 'lms load' command.",
                    400, {}, options.isOld ? "" : "model_not_found");
            if (!isThere && options.isOld && options.models.size() == 1) {
                read.model = options.models.front().id;
                return std::nullopt;
            }
            if (!isThere)
                return refuse("Invalid model identifier \"" + asked +
                                  "\". Please specify a valid downloaded model (e.g., " +
                                  options.models.front().id + ").",
                    400, {}, "model_not_found");
            return std::nullopt;
        }
        return std::nullopt;
    }

    Refusal thinking(const Json& body) {
        const bool canThink = options.thinking != Options::Thinking::none;
        read.thinks = canThink;
        if (options.dialect == Dialect::llamaCpp)
            if (const auto* arguments = body.member("chat_template_kwargs"))
                if (const auto* enable = arguments->member("enable_thinking")) {
                    if (!enable->asBool())
                        return refuse("invalid type for \"enable_thinking\" (expected boolean, "
                                      "got string)");
                    if (enable->asBool() == false) read.thinks = false;
                }
        const auto* effort = body.member("reasoning_effort");
        if (!effort || (options.isOld && !options.refusesEffortNone)) return std::nullopt;
        if (is(effort, "none") && !options.refusesEffortNone) {
            read.thinks = false;
            return std::nullopt;
        }
        if (options.dialect != Dialect::ollama) return std::nullopt; // the others ignore it
        constexpr std::array<std::string_view, 3> levels{"high", "medium", "low"};
        const std::string named = effort->asString() ? *effort->asString() : "";
        if (std::find(levels.begin(), levels.end(), named) == levels.end())
            return refuse("invalid reasoning value: '" + named +
                          "' (must be \"high\", \"medium\", \"low\"" +
                          (options.refusesEffortNone ? ")" : ", or \"none\")"));
        if (!canThink) return refuse("\"" + read.model + "\" does not support thinking");
        return std::nullopt;
    }

    /// A schema or, without one, any object.
    void constrain(const Json* schema) {
        read.question.form = schema ? Question::Form::schema : Question::Form::object;
        if (schema) read.question.schema = *schema;
    }

    Refusal form(const Json* format) {
        if (!format || format->isNull()) return std::nullopt;
        const auto* type = format->member("type");
        const bool isSchema = is(type, "json_schema") && !options.isOld;
        const bool isObject = is(type, "json_object");
        const auto* within = format->member("json_schema");
        const auto* schema = within ? within->member("schema") : nullptr;
        switch (options.dialect) {
        case Dialect::llamaCpp:
            if (isSchema) constrain(schema);
            if (isObject) constrain(format->member("schema"));
            if (!isSchema && !isObject && !is(type, "text"))
                return refuse("response_format type must be one of \"text\" or \"json_object\", "
                              "but got: " +
                              (type && type->asString() ? *type->asString() : ""));
            return std::nullopt;
        case Dialect::ollama:
            if (isSchema && schema) constrain(schema);
            if (isObject) constrain(nullptr);
            return std::nullopt;
        case Dialect::lmStudio:
            if (options.isOld) return std::nullopt;
            if (!isSchema && !is(type, "text"))
                return refuse("'response_format.type' must be 'json_schema' or 'text'");
            if (isSchema) constrain(schema);
            return std::nullopt;
        }
        return std::nullopt;
    }

    /// llama.cpp makes a grammar of the schema first.
    [[nodiscard]] Refusal grammar() const {
        const auto* properties = read.question.schema.member("properties");
        const auto* all = properties ? properties->asObject() : nullptr;
        if (!all || options.dialect != Dialect::llamaCpp) return std::nullopt;
        constexpr std::array<std::string_view, 7> types{
            "string", "number", "integer", "boolean", "array", "object", "null"};
        for (const auto& [name, property] : *all) {
            const auto* type = property.member("type");
            const auto* word = type ? type->asString() : nullptr;
            if (word && std::find(types.begin(), types.end(), *word) == types.end())
                return refuse("Unable to generate parser for this template. Automatic parser "
                              "generation failed: JSON schema error at #/properties/" +
                              name + ": unrecognized type " + *word);
        }
        return std::nullopt;
    }

    Refusal context() {
        read.promptTokens = tokensOf(read.question.instructions) + tokensOf(read.question.prompt);
        if (read.promptTokens <= options.contextLength) return std::nullopt;
        if (options.dialect == Dialect::ollama) {
            read.cutPrompt(options.contextLength);
            return std::nullopt;
        }
        return modelserver::tooLongPage(options, read.promptTokens, read.isStreamed);
    }
};

} // namespace

Result<Read, Page> Read::read(const Options& options, const TestHttpServer::Request& request) {
    const auto body = Json::parse(request.body);
    if (!body)
        return failure(modelserver::errorPage(options.dialect, 400,
            options.dialect == Dialect::ollama
                ? "unexpected EOF"
                : "[json.exception.parse_error.101] parse error: " + body.error().detail));
    Read read;
    if (auto refusal = Reader(options, read).body(*body)) return failure(std::move(*refusal));
    return read;
}

void Read::cutPrompt(std::size_t tokens) {
    const auto taken = tokensOf(question.instructions);
    const auto left = tokens > taken ? (tokens - taken) * 4 : 0;
    auto& prompt = question.prompt;
    auto at = prompt.size() > left ? prompt.size() - left : 0;
    while (at < prompt.size() && (static_cast<unsigned char>(prompt[at]) & 0xC0) == 0x80) ++at;
    prompt.erase(0, at);
    promptTokens = std::min(taken + tokensOf(prompt), tokens);
}

} // namespace nimbe
