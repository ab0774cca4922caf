#include "NimbeEngine/Transform/OnDeviceTransformer.h"

#include <string>
#include <utility>

#include "Foundation/Text.h"
#include "NimbeEngine/Text/EmailBodyFormatter.h"
#include "NimbeEngine/Text/EmailComposer.h"
#include "NimbeEngine/Text/SpokenStructure.h"

namespace nimbe {
namespace {

using Partial = TransformProvider::Partial;

enum class Form { text, email, bullets };

Form formOf(const NoteTransform& transform) {
    const auto* const preset = std::get_if<TransformPreset>(&transform);
    if (!preset) return Form::text;
    switch (*preset) {
    case TransformPreset::email: return Form::email;
    case TransformPreset::bullets: return Form::bullets;
    case TransformPreset::shorter: return Form::text;
    }
    return Form::text;
}

const GeneratedType& typeOf(Form form) {
    switch (form) {
    case Form::text: return OnDeviceTransformer::transformed();
    case Form::email: return OnDeviceTransformer::emailDraft();
    case Form::bullets: return OnDeviceTransformer::bulletDraft();
    }
    return OnDeviceTransformer::transformed();
}

/// Empty where the answer has not come that far.
std::string textOf(const Json& content, std::string_view field) {
    const auto* const member = content.member(field);
    const auto* const text = member ? member->asString() : nullptr;
    return text ? *text : std::string();
}

/// "- ", "• " and the like, or the point's own number, "3. " or "3) ". Other numbers are
/// the speaker's: a point may well begin with a date.
std::size_t markerLength(std::u16string_view point, std::size_t number) {
    static constexpr std::u16string_view bullets = u"-*+\u2022\u2023\u25E6\u2043\u2013\u2014";
    const auto digits = text::toUtf16(std::to_string(number)).text;
    std::size_t length = 0;
    if (point.empty()) return 0;
    if (bullets.find(point.front()) != bullets.npos) {
        length = 1;
    } else if (point.starts_with(digits)) {
        length = digits.size();
        if (length == point.size() || (point[length] != u'.' && point[length] != u')')) return 0;
        ++length;
    }
    const bool stands = length == point.size() || text::isWhiteSpace(point[length]);
    return stands ? length : 0;
}

/// On one line, without a marker of its own.
std::string tidied(std::string_view utf8, std::size_t number) {
    const auto all = text::toUtf16(utf8).text;
    auto point = text::trimmed(std::u16string_view(all));
    while (const auto length = markerLength(point, number))
        point = text::trimmed(point.substr(length));

    std::u16string line;
    for (std::size_t at = 0; at < point.size();) {
        auto end = at;
        bool breaks = false;
        while (end < point.size() && text::isWhiteSpace(point[end]))
            breaks = !text::isBlank(point[end++]) || breaks;
        if (breaks)
            line += u' ';
        else
            line += point.substr(at, end - at);
        at = end;
        while (at < point.size() && !text::isWhiteSpace(point[at])) line += point[at++];
    }
    return text::toUtf8(line);
}

std::string bulletList(const Json& content) {
    const auto* const points = content.member("points");
    const auto* const elements = points ? points->asArray() : nullptr;
    if (!elements) return {};
    std::string list;
    std::size_t number = 0;
    for (const auto& element : *elements) {
        ++number;
        const auto* const words = element.asString();
        const auto point = words ? tidied(*words, number) : std::string();
        if (point.empty()) continue;
        if (!list.empty()) list += '\n';
        list += "- " + point;
    }
    return list;
}

/// Empty where nothing is left of the body: a frame around nothing is no e-mail.
std::string email(const Json& content, std::string_view signature) {
    const auto body = textOf(content, "body");
    const auto words = formatSpokenStructure(EmailBodyFormatter::stripGreetingAndSignOff(body));
    if (text::trimmed(words).empty()) return {};
    return EmailComposer::compose(textOf(content, "recipientName"), body, signature);
}

Partial partialOf(Form form, const Json& content) {
    switch (form) {
    case Form::text: return {textOf(content, "text")};
    case Form::email: return {textOf(content, "body"), false};
    case Form::bullets: return {bulletList(content)};
    }
    return {};
}

} // namespace

const GeneratedType& OnDeviceTransformer::transformed() {
    static const GeneratedType type{"Transformed",
        {{"text", "Only the reshaped text itself. No preamble, labels, commentary, or surrounding "
                  "quotation marks."}}};
    return type;
}

const GeneratedType& OnDeviceTransformer::emailDraft() {
    static const GeneratedType type{"EmailDraft",
        {{"recipientName", "Only who the message is addressed to, when the text clearly names "
                           "them. Empty when it does not."},
            {"body", "The email body only. No greeting line, no sign-off, no commentary."}}};
    return type;
}

const GeneratedType& OnDeviceTransformer::bulletDraft() {
    static const GeneratedType type{"BulletDraft",
        {{"points",
            "The distinct points, one complete idea per element, in the speaker's words, without "
            "any leading bullet markers.",
            GeneratedType::Field::Kind::texts}}};
    return type;
}

Task<Result<TransformProvider::Outcome, LanguageModelError>> OnDeviceTransformer::transform(
    NoteTransform transform, std::string text, OnPartial onPartial) {
    if (!model.availability().get().isAvailable()) {
        auto checking = model.check();
        const auto found = co_await checking;
        if (!found.isAvailable())
            co_return failure(
                LanguageModelError{LanguageModelError::Kind::unavailable, found.message()});
    }

    const auto form = formOf(transform);
    LanguageModel::Request request{
        prompts.instructions(transform), std::move(text), typeOf(form), deadline, stallDeadline};
    LanguageModel::OnPartial receive = [form, onPartial = std::move(onPartial)](
                                           const Json& content) {
        const auto partial = partialOf(form, content);
        return partial.text.empty() || !onPartial || onPartial(partial);
    };
    auto asking = model.respond(std::move(request), std::move(receive));
    const auto answer = co_await asking;

    if (!answer) co_return failure(answer.error());
    Outcome outcome;
    outcome.isWhole = answer->isWhole;
    if (form == Form::email)
        outcome.text = email(answer->content, defaults.get(emailSignatureName));
    else
        outcome.text = partialOf(form, answer->content).text;
    co_return outcome;
}

} // namespace nimbe
