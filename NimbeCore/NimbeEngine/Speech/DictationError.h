#pragma once

#include <string>

namespace nimbe {

/// Why a session could not begin.
struct DictationError {
    enum class Kind { modelUnavailable, noCompatibleAudioFormat, modelPreparationTimedOut };
    Kind kind = Kind::modelUnavailable;
    std::string detail = {}; // of modelUnavailable: the sentence for the user

    /// For the user.
    [[nodiscard]] std::string message() const;
};

} // namespace nimbe
