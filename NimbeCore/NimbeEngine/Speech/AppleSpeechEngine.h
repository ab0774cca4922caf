#pragma once

#include "Foundation/Log.h"
#include "NimbeEngine/Speech/SpeechAssets.h"
#include "NimbeEngine/Speech/TranscriptionEngine.h"

namespace nimbe {

/// A recogniser that is asked in the locale that it supports for the wanted one, and
/// whose locale is reserved while there is room. Main thread.
class AppleSpeechEngine final : public TranscriptionEngine {
public:
    static constexpr std::string_view defaultLocaleID = "en-US";

    AppleSpeechEngine(TranscriptionEngine& recogniser, SpeechAssets& assets, LogSink& sink);

    [[nodiscard]] std::optional<AudioFormat> bestAvailableAudioFormat(
        std::string_view localeID) override;
    [[nodiscard]] Result<TranscriptionResults, DictationError> start(
        std::string_view localeID, AudioFormat format) override;
    [[nodiscard]] AudioSink& input() override { return recogniser.input(); }
    [[nodiscard]] std::optional<std::string> activeLocaleID() const override {
        return recogniser.activeLocaleID();
    }
    void finish() override { recogniser.finish(); }
    void cancel() override { recogniser.cancel(); }

private:
    TranscriptionEngine& recogniser;
    SpeechAssets& assets;
    Log log;

    void reserve(const std::string& locale);
};

} // namespace nimbe
