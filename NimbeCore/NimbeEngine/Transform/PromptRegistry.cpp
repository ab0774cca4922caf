#include "NimbeEngine/Transform/PromptRegistry.h"

#include <optional>
#include <utility>

#include "Foundation/Json.h"
#include "Foundation/Text.h"

namespace nimbe {
namespace {

constexpr std::string_view placeholder = "{instruction}";

constexpr std::string_view email =
    "You turn a dictated note into the parts of an email. recipientName: only who the message is "
    "addressed to, when the text clearly names them; empty otherwise. body: the note rewritten as "
    "a clear, ready-to-send email body in the speaker's voice. Never include a greeting line such "
    "as \"Hi Alex,\" or a sign-off such as \"Thanks,\" or a name at the end, even when the note "
    "dictates one. Separate paragraphs with a blank line. When the note enumerates points, such "
    "as \"one... and two...\", format them as a numbered list. Convert spoken formatting commands "
    "such as \"parentheses... end parentheses\" or \"new paragraph\" into real formatting and "
    "remove the command words. If a number or dollar range came out garbled, write what the "
    "speaker clearly intended, such as \"between $0 and $25,000\". Keep the meaning and tone. Do "
    "not add facts.";

constexpr std::string_view bullets =
    "You break a dictated note into its distinct points. Each point is one complete idea, in the "
    "speaker's words. Keep all the information. Do not add points. Do not merge unrelated ideas "
    "into one point.";

constexpr std::string_view wand =
    "You reshape a dictated note. Apply this instruction to the text: {instruction}\n"
    "Output only the reshaped text. No preamble, labels, or commentary. Never invent facts that "
    "are not in the text. Keep the speaker's voice unless the instruction says otherwise.";

constexpr std::string_view fixKey = "fix";
constexpr std::string_view wandKey = "wand";

std::string_view keyOf(const NoteTransform& transform) {
    if (const auto* const preset = std::get_if<TransformPreset>(&transform))
        return rawValue(*preset);
    return std::holds_alternative<FixTransform>(transform) ? fixKey : wandKey;
}

std::string_view builtIn(const NoteTransform& transform) {
    if (std::holds_alternative<FixTransform>(transform)) return FixTransform::instruction;
    if (std::holds_alternative<CustomTransform>(transform)) return wand;
    switch (std::get<TransformPreset>(transform)) {
    case TransformPreset::email: return email;
    case TransformPreset::bullets: return bullets;
    case TransformPreset::shorter: return instruction(TransformPreset::shorter);
    }
    return {};
}

/// In one pass: what is put in is not looked at again.
std::string filledIn(std::string_view prompt, std::string_view instruction) {
    std::string text;
    for (;;) {
        const auto at = prompt.find(placeholder);
        text += prompt.substr(0, at);
        if (at == prompt.npos) return text;
        text += instruction;
        prompt.remove_prefix(at + placeholder.size());
    }
}

bool isUsable(std::string_view key, std::string_view prompt) {
    if (text::trimmed(prompt).empty()) return false;
    // Without its place the user's own word would be lost.
    return key != wandKey || prompt.find(placeholder) != prompt.npos;
}

} // namespace

std::optional<PromptRegistry::Table> PromptRegistry::decode(std::string_view body) {
    if (body.size() > largestBody) return std::nullopt;
    const auto document = Json::parse(body);
    if (!document) return std::nullopt;
    const auto* const version = document->member("version");
    const auto* const prompts = document->member("prompts");
    if (!version || !version->asInteger() || !prompts || !prompts->asObject()) return std::nullopt;

    Table table;
    table.version = *version->asInteger();
    for (const auto& [key, value] : *prompts->asObject()) {
        const auto* const prompt = value.asString();
        if (!prompt || !isUsable(key, *prompt)) return std::nullopt;
        table.prompts.insert_or_assign(key, *prompt);
    }
    return table;
}

PromptRegistry::PromptRegistry(UserDefaults& defaults, LogSink& sink)
    : defaults(defaults), log(sink, "prompts") {
    const auto kept = defaults.value(cacheKey);
    if (kept && !*kept) return;
    const auto* const body = kept ? std::get_if<std::string>(&**kept) : nullptr;
    if (body) inForce = decode(*body);
    if (!inForce) log.warning("prompts: what is kept is no table, the built-in ones serve");
}

bool PromptRegistry::accept(std::string_view body) {
    auto table = decode(body);
    if (!table) {
        log.warning("prompts: %zu bytes that are no table", body.size());
        return false;
    }
    if (inForce && table->version < inForce->version) {
        log.info("prompts: a table older than the one in force");
        return false;
    }
    inForce = std::move(table);
    log.info("prompts: a table of version %lld", static_cast<long long>(inForce->version));
    if (!defaults.setValue(cacheKey, std::string(body)))
        log.warning("prompts: the table is not kept, it serves until the program ends");
    return true;
}

std::string PromptRegistry::instructions(const NoteTransform& transform) const {
    std::string_view prompt = builtIn(transform);
    if (inForce) {
        const auto found = inForce->prompts.find(keyOf(transform));
        if (found != inForce->prompts.end()) prompt = found->second;
    }
    const auto* const custom = std::get_if<CustomTransform>(&transform);
    return custom ? filledIn(prompt, custom->instruction) : std::string(prompt);
}

} // namespace nimbe
