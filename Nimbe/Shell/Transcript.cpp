#include "NimbeShell/Transcript.h"

#include <ostream>

#include "Foundation/Text.h"
#include "NimbeEngine/Text/DictationText.h"
#include "NimbeEngine/Text/TranscriptOutcome.h"
#include "NimbeShell/ShellServices.h"

namespace nimbe {

std::optional<std::string> Transcript::finished() const {
    const auto outcome = TranscriptOutcome::classify(finishedWithoutCleanup(raw));
    if (outcome.isEmpty()) return std::nullopt;
    return *outcome.presentText();
}

Json::Object Transcript::json() const {
    Json::Array parts;
    for (const auto& utterance : utterances) {
        Json::Object part;
        part.push_back({"begin", Json::number(utterance.begin)});
        part.push_back({"end", Json::number(utterance.end)});
        part.push_back({"text", Json(text::trimmed(utterance.text))});
        parts.emplace_back(std::move(part));
    }
    Json::Object object;
    object.push_back({"text", Json(finished().value_or(std::string()))});
    object.push_back({"raw", Json(raw)});
    object.push_back({"duration", Json::number(duration)});
    object.push_back({"utterances", Json(std::move(parts))});
    return object;
}

bool saveTranscript(const std::string& text, const std::string& modeName, ShellServices& shell,
    const char* verb, std::ostream& error) {
    const auto* services = shell.history(error);
    const auto mode = dictationMode(modeName);
    if (!services || !mode) return false;
    services->history.append(text, std::nullopt, *mode, Date::now());
    const auto problem = services->history.problem();
    const bool isKept = !problem || problem->isPartial();
    if (problem) error << verb << ": " << problem->sentence << "\n";
    if (!isKept) error << verb << ": The text was not kept.\n";
    return isKept;
}

} // namespace nimbe
