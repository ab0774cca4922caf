#include "PlatformLanguageModel/ChatCompletion.h"

#include <algorithm>
#include <string>
#include <utility>

#include "PlatformLanguageModel/GeneratedObject.h"

namespace nimbe {
namespace {

using Kind = LanguageModelError::Kind;

// Some servers cut a text that is too long and say so only by the tokens that they have
// counted. A token is four to five characters of English on average, fewer of most other
// languages; a short prompt fits every model.
constexpr std::size_t longestThatSurelyFits = 4000; // bytes
constexpr std::size_t mostCharactersOfToken = 6;

std::size_t characterCount(std::string_view utf8) {
    const auto isFirstByte = [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    };
    return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), isFirstByte));
}

LanguageModelError malformed(const char* detail) {
    return {Kind::malformed, detail};
}

} // namespace

void ChatCompletion::take(const Json& json) {
    if (told) return;
    told = ChatError::in(json);
    if (const auto* usage = json.member("usage"))
        if (const auto* tokens = usage->member("prompt_tokens"); tokens && tokens->asInteger() > 0)
            promptTokens = tokens->asInteger();
    const auto* choices = json.member("choices");
    const auto* elements = choices ? choices->asArray() : nullptr;
    if (elements && !elements->empty()) takeChoice(elements->front());
}

void ChatCompletion::takeChoice(const Json& choice) {
    for (const auto* const name : {"message", "delta"}) {
        const auto* part = choice.member(name);
        const auto add = [part](const char* field, AnswerText& to) {
            const auto* content = part ? part->member(field) : nullptr;
            if (content && content->asString()) to.add(*content->asString());
        };
        add("content", text);
        add("reasoning_content", thought);
        add("reasoning", thought);
    }
    const auto* finish = choice.member("finish_reason");
    const auto* reason = finish ? finish->asString() : nullptr;
    if (!reason || reason->empty()) return;
    isFinished = true;
    isCut = *reason == "length" || *reason == "content_filter";
}

std::optional<Json> ChatCompletion::begun(const GeneratedType& type) const {
    if (!text.isObject()) return std::nullopt;
    return GeneratedObject::begunOf(type, text.object().value());
}

Result<LanguageModel::Response, LanguageModelError> ChatCompletion::response(
    const LanguageModel::Request& request, bool isStream) const {
    if (told) return failure(told->error());
    if (!readsAll(request)) return failure(LanguageModelError{Kind::tooLong, "cut silently"});
    const bool isWhole = !isCut && (hasFinished() || !isStream);
    auto content = isWhole ? whole(request.type) : unfinished(request.type);
    if (!content) return failure(std::move(content.error()));
    return LanguageModel::Response{std::move(*content), isWhole};
}

bool ChatCompletion::readsAll(const LanguageModel::Request& request) const {
    if (!promptTokens || request.prompt.size() <= longestThatSurelyFits) return true;
    const auto characters = characterCount(request.instructions) + characterCount(request.prompt);
    return static_cast<std::uint64_t>(*promptTokens) * mostCharactersOfToken >= characters;
}

Result<Json, LanguageModelError> ChatCompletion::whole(const GeneratedType& type) const {
    if (!text.isObject()) {
        const auto* field = GeneratedObject::onlyText(type);
        const auto plain = text.plain();
        if (plain.empty() && thought.isWholeObject())
            if (auto object = GeneratedObject::of(type, thought.object().value()))
                return std::move(*object);
        if (!field) return failure(malformed("no object"));
        if (plain.empty()) return failure(malformed("nothing"));
        Json json;
        json.set(field->name, Json(plain));
        auto object = GeneratedObject::of(type, json);
        return object ? Result<Json, LanguageModelError>(std::move(*object))
                      : failure(malformed("a NUL character"));
    }
    if (!text.isWholeObject()) return failure(malformed("no valid object"));
    auto object = GeneratedObject::of(type, text.object().value());
    if (!object) return failure(malformed("an object of another form"));
    return std::move(*object);
}

Result<Json, LanguageModelError> ChatCompletion::unfinished(const GeneratedType& type) const {
    if (text.isObject()) {
        if (text.object().isDamaged()) return failure(malformed("no valid object"));
        return GeneratedObject::begunOf(type, text.object().value());
    }
    const auto* field = GeneratedObject::onlyText(type);
    const auto plain = text.plain();
    if (plain.empty()) return failure(LanguageModelError{Kind::brokenOff, "without an answer"});
    if (!field) return failure(malformed("no object"));
    Json json;
    json.set(field->name, Json(plain));
    return GeneratedObject::begunOf(type, json);
}

} // namespace nimbe
