#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Json.h"
#include "NimbeEngine/Speech/TranscriptionEngine.h"

namespace nimbe {

class ShellServices;

/// What was heard, and what is to be written of it.
struct Transcript {
    std::string raw;
    std::vector<TranscriptionResult> utterances = {};
    Seconds duration = 0;

    /// Absent when nothing was said, or no more than a cough.
    [[nodiscard]] std::optional<std::string> finished() const;

    /// An object with "raw", "text", "duration" and "utterances", whose times are in
    /// seconds.
    [[nodiscard]] Json::Object json() const;
};

/// Keeps a finished text in the history. False, with a message, when that failed.
[[nodiscard]] bool saveTranscript(const std::string& text, const std::string& mode,
    ShellServices& shell, const char* verb, std::ostream& error);

} // namespace nimbe
