#pragma once

#include <optional>
#include <string>
#include <vector>

#include "NimbeEngine/Speech/TranscriptionEngine.h"

namespace nimbe {

/// A recogniser whose results the test gives. Keeps what it heard.
class FakeTranscriptionEngine final : public TranscriptionEngine, private AudioSink {
public:
    explicit FakeTranscriptionEngine(MainActor& actor) : actor(actor) {}

    std::optional<AudioFormat> format = AudioFormat{16000, 1};
    std::optional<DictationError> error;
    std::function<void()> onFinish = [] {
    };
    std::optional<TranscriptionResults> results; // of the session
    std::vector<float> heard;
    std::size_t heardAtFinish = 0;
    int starts = 0;
    int finishes = 0;
    int cancels = 0;
    std::optional<std::string> locale;

    std::optional<AudioFormat> bestAvailableAudioFormat(std::string_view /*localeID*/) override {
        return format;
    }
    Result<TranscriptionResults, DictationError> start(
        std::string_view localeID, AudioFormat /*format*/) override {
        ++starts;
        if (error) return failure(*error);
        locale = std::string(localeID);
        heard.clear();
        results.emplace(actor);
        return *results;
    }
    AudioSink& input() override { return *this; }
    std::optional<std::string> activeLocaleID() const override { return locale; }
    void finish() override {
        ++finishes;
        heardAtFinish = heard.size();
        onFinish();
    }
    void cancel() override {
        ++cancels;
        if (results) results->finish();
    }

    void hear(std::string text, bool isFinal) const {
        results->yield(TranscriptionResult{std::move(text), isFinal});
    }

private:
    MainActor& actor;

    void yield(CapturedAudio audio) noexcept override {
        const auto* samples = audio.buffer.samples.data();
        heard.insert(heard.end(), samples, samples + audio.buffer.frameLength);
    }
};

} // namespace nimbe
