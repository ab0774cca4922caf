#pragma once

#include <filesystem>
#include <memory>

#include "NimbeEngine/Speech/SpeechDecoder.h"
#include "NimbeEngine/Speech/SpeechModels.h"

namespace nimbe {

/// Makes a model's files ready to run. Any thread.
class SpeechRuntime {
public:
    struct Recognizer {
        std::unique_ptr<VoiceDetector> detector;
        std::unique_ptr<SpeechDecoder> decoder;
    };

    virtual ~SpeechRuntime() = default;

    /// Takes about a second and holds up to 350 MB while in use.
    [[nodiscard]] virtual Result<Recognizer, SpeechModelError> load(
        const std::filesystem::path& folder) = 0;
};

} // namespace nimbe
