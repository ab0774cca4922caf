#pragma once

#include <filesystem>
#include <mutex>
#include <optional>

#include "NimbeEngine/Speech/SpeechDecoder.h"
#include "PlatformSpeech/OnnxRuntime.h"
#include "PlatformSpeech/SpeechVocabulary.h"

namespace nimbe {

/// Moonshine's encoder and merged decoder.
///
/// The encoder reads the whole utterance in one step of 10 to 40 ms a second of sound;
/// the decoder gives a token a step, some 10 ms each, with what it has computed for the
/// earlier ones as its cache.
class MoonshineDecoder final : public SpeechDecoder {
public:
    /// Throws std::exception when the folder does not hold such a model.
    MoonshineDecoder(const std::filesystem::path& folder, int threads);

    [[nodiscard]] Decoded decode(std::span<const float> samples, const SpeechTokens& guess,
        const std::function<bool()>& keepsGoing) override;
    [[nodiscard]] std::string text(const SpeechTokens& tokens) const override;
    void interrupt() noexcept override;

    /// Decodes a second of faint noise: the first decode of a process takes longer.
    void warmUp();

private:
    /// What the decoder remembers, in the order of its inputs from the third on: key
    /// and value of each layer for the tokens so far, and for the sound.
    using Cache = std::vector<Ort::Value>;
    enum class Branch { withoutCache, withCache };
    struct Progress {
        SpeechTokens tokens = {};
        Cache cache = {};
    };
    struct Choice {
        std::int64_t token;
        float lead; // over the next best, in logits
    };

    Ort::Session encoder;
    Ort::Session decoder;
    SpeechVocabulary vocabulary;
    std::vector<std::string> inputNames;
    std::vector<std::string> outputNames;
    std::vector<const char*> inputs;
    std::vector<const char*> outputs;
    std::int64_t heads = 0;
    std::int64_t headSize = 0;

    std::mutex runningMutex;
    Ort::RunOptions* running = nullptr;

    [[nodiscard]] std::optional<Ort::Value> encode(std::span<const float> samples);
    [[nodiscard]] std::vector<Ort::Value> step(
        const SpeechTokens& tokens, const Ort::Value& sound, const Cache& cache, Branch branch);
    [[nodiscard]] std::int64_t begin(
        const Ort::Value& sound, std::span<const std::int64_t> guess, Progress& progress);
    [[nodiscard]] std::int64_t advance(
        std::int64_t token, const Ort::Value& sound, Progress& progress);
    [[nodiscard]] Cache emptyCache();
    [[nodiscard]] static std::vector<Choice> choices(const Ort::Value& logits);
    [[nodiscard]] static Ort::Value firstTokens(const Ort::Value& cached, std::int64_t count);
};

} // namespace nimbe
