#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "NimbeEngine/Speech/UtteranceRecognizer.h"
#include "PlatformSpeech/OnnxSpeechRuntime.h"
#include "Support/RecordedSpeech.h"
#include "Support/TemporaryFolder.h"
#include "Support/WordErrors.h"

namespace nimbe {
namespace {

const std::filesystem::path base = std::filesystem::path(NIMBE_MODELS) / "moonshine-base-en";
const std::filesystem::path tiny = std::filesystem::path(NIMBE_MODELS) / "moonshine-tiny-en";

const auto goOn = [] {
    return true;
};

/// Fed at once, or in pieces with partial decodes between them.
std::string recognised(
    SpeechRuntime::Recognizer& models, std::span<const float> samples, std::size_t piece = 0) {
    std::string text;
    using Volatile = UtteranceRecognizer::Volatile;
    UtteranceRecognizer recognizer(*models.detector, *models.decoder,
        piece == 0 ? Volatile::unwanted : Volatile::wanted, [&](const TranscriptionResult& result) {
            if (result.isFinal) text += result.text;
        });
    const auto step = piece == 0 ? std::max<std::size_t>(samples.size(), 1) : piece;
    for (std::size_t at = 0; at < samples.size(); at += step) {
        recognizer.hear(samples.subspan(at, std::min(step, samples.size() - at)));
        EXPECT_TRUE(recognizer.work(goOn));
    }
    recognizer.finish();
    EXPECT_TRUE(recognizer.work(goOn));
    return text;
}

} // namespace

TEST(SpeechRuntime, humanSpeechIsUnderstoodAndPartialDecodesChangeNothing) {
    auto models = OnnxSpeechRuntime().load(base);
    ASSERT_TRUE(models) << models.error().detail;
    WordErrors all;
    std::string joined;
    for (const auto& sentence : RecordedSpeech::sentences()) {
        const auto samples = sentence.samples();
        const auto text = recognised(*models, samples);
        EXPECT_EQ(recognised(*models, samples, 6400), text);
        const auto errors = WordErrors::between(sentence.said, text);
        all.wrong += errors.wrong;
        all.words += errors.words;
    }
    EXPECT_LE(all.wrong, 1U);
    EXPECT_GT(all.words, 70U);
}

TEST(SpeechRuntime, aGuessChangesNothingButTheTime) {
    auto models = OnnxSpeechRuntime(1).load(tiny);
    ASSERT_TRUE(models) << models.error().detail;
    auto& decoder = *models->decoder;
    for (const auto& phrase : RecordedSpeech::phrases()) {
        const auto samples = phrase.samples();
        const auto right = decoder.decode(samples, {}, goOn).tokens;
        ASSERT_FALSE(right.empty());
        auto longer = right;
        longer.insert(longer.end(), {300, 301});
        auto other = right;
        other[other.size() / 2] = 5;
        const SpeechTokens hopeless(500, 31999);
        for (const auto& guess :
            {right, SpeechTokens(right.begin(), right.begin() + 1), longer, other, hopeless}) {
            const auto decoded = decoder.decode(samples, guess, goOn);
            EXPECT_TRUE(decoded.isWhole);
            EXPECT_EQ(decoded.tokens, right) << decoder.text(right);
        }
        int steps = 0;
        const auto part = decoder.decode(samples, {}, [&] { return ++steps < 3; });
        EXPECT_FALSE(part.isWhole);
        EXPECT_EQ(part.tokens, SpeechTokens(right.begin(), right.begin() + 2));
    }
}

TEST(SpeechRuntime, theLongFirstStepCanBeInterrupted) {
    auto models = OnnxSpeechRuntime(1).load(tiny);
    ASSERT_TRUE(models) << models.error().detail;
    // Not speech, but all of it goes through the first step: half a second and more.
    const std::vector<float> samples(60 * 16000, 0.01F);
    std::atomic<bool> hasEnded = false;
    std::thread impatient([&] {
        while (!hasEnded) models->decoder->interrupt();
    });
    int asked = 0;
    const auto decoded = models->decoder->decode(samples, {}, [&] { return ++asked > 0; });
    hasEnded = true;
    impatient.join();
    EXPECT_FALSE(decoded.isWhole);
    EXPECT_EQ(asked, 0) << "it was interrupted only afterwards";
    EXPECT_TRUE(models->decoder->decode({samples.data(), 16000}, {}, goOn).isWhole)
        << "the next decode";
}

TEST(SpeechRuntime, damagedModelsAreRefused) {
    using Kind = SpeechModelError::Kind;
    EXPECT_EQ(OnnxSpeechRuntime().load("/no/such/model").error().kind, Kind::notInstalled);
    struct Case {
        const char* why;
        const char* file;
        const char* with; // null: missing
    };
    const Case cases[] = {
        {"no encoder", "encoder_model.onnx", nullptr},
        {"no decoder", "decoder_model_merged.onnx", nullptr},
        {"no vocabulary", "tokens.txt", nullptr},
        {"no detector", "silero_vad.onnx", nullptr},
        {"an empty encoder", "encoder_model.onnx", ""},
        {"text for a decoder", "decoder_model_merged.onnx", "This is no model."},
        {"text for a detector", "silero_vad.onnx", "This is no model."},
        {"text for a vocabulary", "tokens.txt", "hello"},
    };
    for (const auto& c : cases) {
        const TemporaryFolder folder;
        for (const auto& file : std::filesystem::directory_iterator(tiny))
            std::filesystem::create_symlink(
                std::filesystem::canonical(file), folder.path / file.path().filename());
        std::filesystem::remove(folder.path / c.file);
        if (c.with) std::ofstream(folder.path / c.file) << c.with;
        const auto loaded = OnnxSpeechRuntime().load(folder.path);
        ASSERT_FALSE(loaded) << c.why;
        EXPECT_EQ(loaded.error().kind, Kind::damaged) << c.why;
        EXPECT_FALSE(loaded.error().detail.empty()) << c.why;
    }
    // One model's part in the other's place has other sizes.
    const TemporaryFolder mixed;
    for (const auto& file : std::filesystem::directory_iterator(tiny))
        std::filesystem::create_symlink(
            std::filesystem::canonical(file), mixed.path / file.path().filename());
    std::filesystem::remove(mixed.path / "encoder_model.onnx");
    std::filesystem::create_symlink(
        std::filesystem::canonical(base / "encoder_model.onnx"), mixed.path / "encoder_model.onnx");
    EXPECT_FALSE(OnnxSpeechRuntime().load(mixed.path)) << "found out by the warm-up";
}

} // namespace nimbe
