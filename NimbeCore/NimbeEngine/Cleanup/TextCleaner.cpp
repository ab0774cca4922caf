#include "NimbeEngine/Cleanup/TextCleaner.h"

#include "Foundation/Regex.h"
#include "Foundation/Text.h"
#include "NimbeEngine/Text/DictationText.h"

namespace nimbe {
namespace {

constexpr std::string_view task =
    "You clean up dictated speech into polished written text.\n"
    "Remove speech disfluencies: filler sounds (uh, um, er, ah, hmm), false starts, stutters, "
    "repeated words, and immediate self-corrections. Also remove \"like\", \"you know\", and \"I "
    "mean\" only when used as filler, never when they carry meaning.\n"
    "Convert spoken formatting commands into formatting and remove the command words: "
    "\"parentheses\"/\"end parentheses\" become ( ), \"quote\"/\"end quote\" become quotation "
    "marks, \"new line\" starts a new line, \"new paragraph\" starts a new paragraph.\n"
    "You may add a paragraph break where the topic clearly shifts.\n"
    "If a dictated number or dollar range came out garbled, write what the speaker clearly "
    "intended, such as \"between $0 and $25,000\".\n"
    "Preserve the speaker's exact words, meaning, and tone. Do not paraphrase, summarize, "
    "shorten, translate, censor, or add any words or commentary; keep it in the speaker's voice. "
    "You may lightly fix punctuation and capitalization.\n"
    "Target style: ";

constexpr std::string_view ending = ".\nOutput only the cleaned text.";

std::string_view style(DictationMode mode) {
    switch (mode) {
    case DictationMode::messaging:
        return "casual, conversational, contractions ok, light punctuation";
    case DictationMode::email: return "clear and professional, complete sentences, no slang";
    case DictationMode::notes: return "concise notes, may use fragments and line breaks";
    case DictationMode::coding:
        return "literal technical text, preserve symbols and identifiers, minimal rewriting";
    }
    return {};
}

void dropPreamble(std::u16string& text) {
    static const Regex preamble(
        uR"(^\s*(?:sure|certainly|of course|okay|ok|here(?:'s| is)|here you go)[^\n:]*\b(?:clean(?:ed)?|text|transcript|version|dictation|polished)\b[^\n:]*:\s*)",
        Regex::Case::insensitive);
    const auto match = preamble.firstMatch(text);
    if (!match) return;
    text.erase(0, (*match)[0]->end);
    text::trim(text);
}

void dropQuotes(std::u16string& text) {
    if (text.size() < 2 || text.front() != u'"' || text.back() != u'"') return;
    text = text.substr(1, text.size() - 2);
    text::trim(text);
}

/// It tells of the task in place of doing it.
bool leaksTask(const std::u16string& text) {
    static const Regex format(
        uR"(^\s*(?:so\s+)?(?:the\s+)?(?:response|output)\s+format\b.*\b(?:json|schema)\b)");
    const auto lower = text::lowerCase(text);
    const auto holds = [&](std::u16string_view words) {
        return lower.find(words) != lower.npos;
    };
    return holds(u"inserted between") || holds(u"surrounding text") ||
           (holds(u"before:") && holds(u"after:")) || format.firstMatch(lower) ||
           holds(u"cleaned schema:");
}

} // namespace

const GeneratedType& TextCleaner::cleaned() {
    static const GeneratedType type{"Cleaned",
        {{"text", "Only the cleaned transcript text itself. No preamble, labels, commentary, or "
                  "surrounding quotation marks."}}};
    return type;
}

std::string TextCleaner::instructions(DictationMode mode) {
    return std::string(task) + std::string(style(mode)) + std::string(ending);
}

std::string TextCleaner::fallback(std::string_view transcript) {
    const auto trimmed = text::trimmed(transcript);
    auto finished = finishedWithoutCleanup(trimmed, false);
    return finished.empty() ? std::string(trimmed) : finished;
}

std::string TextCleaner::sanitize(std::string_view output, std::string_view fallback) {
    auto text = text::toUtf16(output).text;
    text::trim(text);
    dropPreamble(text);
    dropQuotes(text);
    if (text.empty() || leaksTask(text)) return std::string(fallback);
    return text::toUtf8(text);
}

} // namespace nimbe
