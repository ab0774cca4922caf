#include <cstdint>
#include <string>
#include <string_view>

#include "Check.h"
#include "Foundation/Text.h"
#include "NimbeEngine/Text/BulletReflow.h"
#include "NimbeEngine/Text/DictationText.h"
#include "NimbeEngine/Text/EmailComposer.h"
#include "NimbeEngine/Text/Fillers.h"
#include "NimbeEngine/Text/SpokenCommands.h"
#include "NimbeEngine/Text/TranscriptOutcome.h"
#include "Support/PlainIcu.h"

namespace {

using namespace nimbe;

/// The same bytes as words, single line breaks, blanks and sentence punctuation.
std::string asProse(std::string_view bytes) {
    constexpr std::string_view alphabet = "aeidort bcfgs,lmnpu.hvwxz 012\n\t!?:;";
    std::string prose;
    for (const char c : bytes) prose += alphabet[static_cast<unsigned char>(c) % alphabet.size()];
    return prose;
}

/// True when a rule that removes words would find something to do.
bool hasCommandsOrFillers(const std::string& text) {
    const auto converted = text::toUtf16(text).text;
    const auto& commands = spokenCommandRules();
    const TextRule* rules[] = {&commands[0], &commands[1], &commands[2], &fillerRules()[0]};
    for (const auto* rule : rules)
        if (plainlyApplied(rule->definition, converted) != converted) return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const bool preserveCase = size % 2 == 0;

    const auto finished = finishedWithoutCleanup(bytes, preserveCase);
    check(text::isValidUtf8(finished), "the finished text is UTF-8");
    check(text::isValidUtf8(BulletReflow::reflow(bytes)), "the reflowed text is UTF-8");
    check(text::isValidUtf8(EmailComposer::compose("Zoë", bytes, "")), "the e-mail is UTF-8");
    const auto outcome = TranscriptOutcome::classify(bytes);
    check(outcome.isEmpty() || text::isValidUtf8(*outcome.presentText()), "the outcome is UTF-8");

    // The engine alone takes quadratic time: only on short texts.
    constexpr std::size_t shortEnough = 400;
    if (size > shortEnough) return 0;
    const auto steps = stripFillers(formatSpokenCommands(bytes), preserveCase);
    check(steps == finished, "the path is its two steps");
    check(plainlyFinished(bytes, preserveCase) == finished, "scans change no result");

    const auto prose = finishedWithoutCleanup(asProse(bytes));
    if (!hasCommandsOrFillers(asProse(bytes)) && !hasCommandsOrFillers(prose))
        check(finishedWithoutCleanup(prose) == prose, "finished prose stays as it is");
    return 0;
}
