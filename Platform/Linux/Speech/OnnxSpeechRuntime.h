#pragma once

#include "NimbeEngine/Speech/SpeechRuntime.h"

namespace nimbe {

/// Moonshine and Silero on ONNX Runtime.
class OnnxSpeechRuntime final : public SpeechRuntime {
public:
    /// For one decode.
    explicit OnnxSpeechRuntime(int threads = 2) : threads(threads) {}

    [[nodiscard]] Result<Recognizer, SpeechModelError> load(
        const std::filesystem::path& folder) override;

private:
    int threads;
};

} // namespace nimbe
