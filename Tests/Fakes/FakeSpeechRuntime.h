#pragma once

#include <atomic>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "NimbeEngine/Speech/SpeechRuntime.h"

namespace nimbe {

/// Speech as it is easiest to test: samples from 0.5 on are speech, and what is
/// decoded of an utterance is a word for every 8,000 samples of it, "w1 w2 …": the
/// decoder's tokens count from the first. Each of them takes a step.
class FakeSpeechRuntime final : public SpeechRuntime {
public:
    struct Decode {
        std::size_t samples;
        SpeechTokens guess;
        bool isWhole;
    };
    static constexpr std::size_t samplesPerWord = 8000;

    std::optional<SpeechModelError> error;
    std::atomic<bool> isHanging = false; // each decode waits until it is interrupted or unwanted
    std::atomic<bool> isLoading = false; // for as long as it is set
    std::atomic<int> loads = 0;
    std::atomic<int> begun = 0; // decodes
    std::atomic<int> interruptions = 0;

    /// In order of their ends.
    [[nodiscard]] std::vector<Decode> decodes() const {
        const std::lock_guard lock(mutex);
        return ended;
    }

    Result<Recognizer, SpeechModelError> load(const std::filesystem::path& /*folder*/) override {
        ++loads;
        while (isLoading) std::this_thread::yield();
        if (error) return failure(*error);
        Recognizer recognizer;
        recognizer.detector = std::make_unique<Detector>();
        recognizer.decoder = std::make_unique<Decoder>(*this);
        return recognizer;
    }

private:
    mutable std::mutex mutex;
    std::vector<Decode> ended;

    class Detector final : public VoiceDetector {
    public:
        double probability(std::span<const float, windowSize> window) override {
            double loudest = 0;
            for (const float sample : window)
                loudest = std::max(loudest, static_cast<double>(sample));
            return loudest >= 0.5 ? 0.9 : 0.1;
        }
        void reset() override {}
    };

    class Decoder final : public SpeechDecoder {
    public:
        explicit Decoder(FakeSpeechRuntime& owner) : owner(owner) {}

        Decoded decode(std::span<const float> samples, const SpeechTokens& guess,
            const std::function<bool()>& keepsGoing) override {
            const std::size_t count = (samples.size() + samplesPerWord - 1) / samplesPerWord;
            wasInterrupted = false;
            ++owner.begun;
            Decoded decoded;
            decoded.isWhole = true;
            while (decoded.tokens.size() < count && decoded.isWhole) {
                decoded.tokens.push_back(static_cast<std::int64_t>(decoded.tokens.size()) + 1);
                do {
                    // Like a long first step: an interruption asks nobody.
                    decoded.isWhole = !wasInterrupted && keepsGoing();
                    if (owner.isHanging) std::this_thread::yield();
                } while (owner.isHanging && decoded.isWhole);
            }
            const std::lock_guard lock(owner.mutex);
            owner.ended.push_back({samples.size(), guess, decoded.isWhole});
            return decoded;
        }
        std::string text(const SpeechTokens& tokens) const override {
            std::string text;
            for (const auto token : tokens)
                text += (text.empty() ? "w" : " w") + std::to_string(token);
            return text;
        }
        void interrupt() noexcept override {
            ++owner.interruptions;
            wasInterrupted = true;
        }

    private:
        FakeSpeechRuntime& owner;
        std::atomic<bool> wasInterrupted = false;
    };
};

} // namespace nimbe
