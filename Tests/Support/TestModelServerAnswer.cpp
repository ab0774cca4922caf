#include "Support/TestModelServerAnswer.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "Support/TestModelServerContent.h"
#include "Support/TestModelServerDialect.h"

namespace nimbe {
namespace {

using Options = TestModelServerOptions;
using Dialect = Options::Dialect;
using Page = TestHttpServer::Page;
using Request = TestModelServerRequest;

constexpr std::int64_t created = 1700000000;

Json count(std::size_t number) {
    return Json::integer(static_cast<std::int64_t>(number));
}

/// The end of the first `most` characters.
std::size_t endOfCharacters(std::string_view text, std::size_t most) {
    std::size_t at = 0;
    for (; at < text.size(); ++at)
        if ((static_cast<unsigned char>(text[at]) & 0xC0) != 0x80 && most-- == 0) break;
    return at;
}

/// The end of as many characters as fit into `most` bytes.
std::size_t endWithin(std::string_view text, std::size_t most) {
    if (most >= text.size()) return text.size();
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80) --most;
    return most;
}

/// What is around the choices of an answer or of a piece of one.
class Envelope {
public:
    Envelope(const Options& options, const Request& request, std::size_t completionTokens)
        : options(options), request(request), completionTokens(completionTokens) {}

    [[nodiscard]] Json whole(Json::Object message, Json finish) const {
        auto choice = Json(Json::Object{{"index", Json::integer(0)},
            {"message", Json(std::move(message))}, {"finish_reason", std::move(finish)}});
        if (isLmStudio()) choice.set("logprobs", Json());
        auto body = around("chat.completion", Json::Array{std::move(choice)});
        body.set("usage", usage());
        if (isLmStudio()) body.set("stats", Json(Json::Object()));
        if (isLlama()) body.set("timings", timings());
        return body;
    }
    [[nodiscard]] Json piece(Json::Object delta, Json finish) const {
        auto choice = Json(Json::Object{{"index", Json::integer(0)},
            {"delta", Json(std::move(delta))}, {"finish_reason", std::move(finish)}});
        if (isLmStudio()) choice.set("logprobs", Json());
        return around("chat.completion.chunk", Json::Array{std::move(choice)});
    }
    [[nodiscard]] Json usagePiece() const {
        auto body = around("chat.completion.chunk", Json::Array());
        body.set("usage", usage());
        if (isLlama()) body.set("timings", timings());
        return body;
    }
    [[nodiscard]] Json timings() const {
        return Json(Json::Object{{"cache_n", count(0)}, {"prompt_n", count(request.promptTokens)},
            {"prompt_ms", Json::number(0.5)}, {"prompt_per_token_ms", Json::number(0.5)},
            {"prompt_per_second", Json::number(2000.5)}, {"predicted_n", count(completionTokens)},
            {"predicted_ms", Json::number(7.5)}, {"predicted_per_token_ms", Json::number(0.5)},
            {"predicted_per_second", Json::number(2000.5)}});
    }

private:
    const Options& options;
    const Request& request;
    std::size_t completionTokens;

    [[nodiscard]] bool isLlama() const { return options.dialect == Dialect::llamaCpp; }
    [[nodiscard]] bool isLmStudio() const { return options.dialect == Dialect::lmStudio; }

    [[nodiscard]] Json around(const char* object, Json::Array choices) const {
        const auto fingerprint = isLlama()                            ? "b11669"
                                 : options.dialect == Dialect::ollama ? "fp_ollama"
                                                                      : request.model;
        return Json(Json::Object{{"id", Json("chatcmpl-123")}, {"object", Json(object)},
            {"created", Json::integer(created)}, {"model", Json(request.model)},
            {"system_fingerprint", Json(fingerprint)}, {"choices", Json(std::move(choices))}});
    }
    [[nodiscard]] Json usage() const {
        Json usage(Json::Object{{"prompt_tokens", count(request.promptTokens)},
            {"completion_tokens", count(completionTokens)},
            {"total_tokens", count(request.promptTokens + completionTokens)}});
        if (isLlama())
            usage.set("prompt_tokens_details", Json(Json::Object{{"cached_tokens", count(0)}}));
        return usage;
    }
};

const char* reasoningMember(Dialect dialect) {
    return dialect == Dialect::ollama ? "reasoning" : "reasoning_content";
}

Envelope envelope(
    const Options& options, const Request& request, const TestModelServerAnswer& answer) {
    return {options, request, (answer.content.size() + answer.reasoning.size() + 3) / 4};
}

Json reason(const std::string& finish) {
    return finish.empty() ? Json() : Json(finish);
}

/// The mark becomes bytes that no character has.
void spoil(std::string& bytes) {
    for (auto at = bytes.find(notUtf8Mark); at != bytes.npos; at = bytes.find(notUtf8Mark, at))
        bytes.replace(at, notUtf8Mark.size(), "\xC3\x28\xFF");
}

std::string event(const Json& data) {
    auto bytes = "data: " + data.text() + "\n\n";
    spoil(bytes);
    return bytes;
}

} // namespace

TestModelServerAnswer TestModelServerAnswer::of(const Options& options, const Request& request) {
    const auto& question = request.question;
    auto right = options.model ? options.model(question) : testModelWrites(question);
    TestModelServerAnswer answer{.content = testModelWrites(question, right, options.misbehaviour)};
    const std::string thought = "The user wants the text cleaned up. {\"text\": \"no\"}";
    if (request.thinks && options.thinking == Options::Thinking::apart) answer.reasoning = thought;
    if (request.thinks && options.thinking == Options::Thinking::inlined)
        answer.content = "<think>\n" + thought + "\n</think>\n\n" + answer.content;
    const auto half = endWithin(answer.content, answer.content.size() / 2);
    if (options.misbehaviour == TestMisbehaviour::length) {
        answer.content.erase(half);
        answer.finishReason = "length";
    }
    if (options.misbehaviour == TestMisbehaviour::noDone) {
        answer.content.erase(half);
        answer.finishReason.clear();
    }
    if (!request.mostTokens || *request.mostTokens < 0) return answer;
    const auto most = static_cast<std::size_t>(*request.mostTokens) * 4;
    const auto left = most - std::min(most, answer.reasoning.size());
    answer.reasoning.erase(std::min(most, answer.reasoning.size()));
    const auto end = endWithin(answer.content, left);
    if (end < answer.content.size()) answer.finishReason = "length";
    answer.content.erase(end);
    return answer;
}

std::string TestModelServerAnswer::whole(const Options& options, const Request& request) const {
    Json::Object message{{"role", Json("assistant")}, {"content", Json(content)}};
    if (!reasoning.empty()) message.push_back({reasoningMember(options.dialect), Json(reasoning)});
    if (options.dialect == Dialect::lmStudio)
        message.push_back({"tool_calls", Json(Json::Array())});
    auto body =
        envelope(options, request, *this).whole(std::move(message), reason(finishReason)).text();
    spoil(body);
    return body + (options.dialect == Dialect::ollama ? "\n" : "");
}

std::vector<std::string> TestModelServerAnswer::events(
    const Options& options, const Request& request) const {
    const auto around = envelope(options, request, *this);
    const bool isLlama = options.dialect == Dialect::llamaCpp;
    std::vector<std::string> all;
    const auto add = [&](const char* member, std::string_view text) {
        while (!text.empty()) {
            const auto length = endOfCharacters(text, options.pieceLength);
            Json delta;
            if (!isLlama) delta.set("role", Json("assistant"));
            if (options.dialect == Dialect::ollama) delta.set("content", Json(""));
            delta.set(member, Json(text.substr(0, length)));
            all.push_back(event(around.piece(*delta.asObject(), Json())));
            text.remove_prefix(length);
        }
    };
    if (isLlama)
        all.push_back(
            event(around.piece({{"role", Json("assistant")}, {"content", Json()}}, Json())));
    add(reasoningMember(options.dialect), reasoning);
    add("content", content);
    if (finishReason.empty()) return all;
    Json::Object last;
    if (options.dialect == Dialect::ollama)
        last = {{"role", Json("assistant")}, {"content", Json("")}};
    auto finish = around.piece(std::move(last), Json(finishReason));
    if (isLlama && !request.wantsUsage) finish.set("timings", around.timings());
    all.push_back(event(finish));
    if (request.wantsUsage) all.push_back(event(around.usagePiece()));
    all.emplace_back("data: [DONE]\n\n");
    return all;
}

Page TestModelServerAnswer::page(const Options& options, const Request& request) const {
    if (!request.isStreamed) {
        auto page = modelserver::jsonPage(options.dialect, Json());
        page.body = whole(options, request);
        return page;
    }
    Page page{.headers = modelserver::headers(options.dialect, "text/event-stream"),
        .pause = options.pause,
        .pieces = TestHttpServer::inPieces(events(options, request))};
    if (options.dialect == Dialect::llamaCpp) page.headers.push_back({"X-Accel-Buffering", "no"});
    return page;
}

} // namespace nimbe
