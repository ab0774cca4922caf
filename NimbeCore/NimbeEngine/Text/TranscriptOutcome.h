#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nimbe {

/// Whether a finished dictation holds anything to deliver and keep.
class TranscriptOutcome {
public:
    /// Present with at least two letters, marks or numbers (Unicode's general
    /// categories L, M and N): less is a cough, not a word.
    [[nodiscard]] static TranscriptOutcome classify(std::string_view text);

    [[nodiscard]] bool isEmpty() const { return !present; }

    /// The finished text, trimmed; null when empty.
    [[nodiscard]] const std::string* presentText() const { return present ? &*present : nullptr; }

private:
    std::optional<std::string> present;
};

} // namespace nimbe
