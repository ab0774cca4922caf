#include <limits>

#include <gtest/gtest.h>

#include "Fakes/FakeSpeechRuntime.h"
#include "NimbeEngine/Speech/UtteranceRecognizer.h"

namespace nimbe {
namespace {

using Volatile = UtteranceRecognizer::Volatile;

void add(std::vector<float>& sound, double seconds, float level) {
    sound.insert(sound.end(), static_cast<std::size_t>(seconds * 16000), level);
}

/// Speech and silence by turns, in seconds.
std::vector<float> sound(std::initializer_list<double> turns) {
    std::vector<float> samples;
    float level = 1;
    for (const double seconds : turns) {
        add(samples, seconds, level);
        level = 1 - level;
    }
    return samples;
}

struct UtteranceRecognizerTest : testing::Test {
    FakeSpeechRuntime runtime;
    SpeechRuntime::Recognizer models = *runtime.load("");
    std::vector<TranscriptionResult> results;

    UtteranceRecognizer recognizer(Volatile kind) {
        return {*models.detector, *models.decoder, kind, [this](TranscriptionResult result) {
                    results.push_back(std::move(result));
                }};
    }
    /// As texts; volatile ones in brackets.
    [[nodiscard]] std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const auto& result : results)
            all.push_back(result.isFinal ? result.text : "[" + result.text + "]");
        return all;
    }
};

const auto goOn = [] {
    return true;
};

} // namespace

TEST_F(UtteranceRecognizerTest, pieceSizesChangeNothing) {
    auto samples = sound({1.2, 2, 0.1, 2, 3.3, 1.6, 0.9, 0.05});
    samples[100] = std::numeric_limits<float>::quiet_NaN();
    samples[200] = std::numeric_limits<float>::infinity();
    std::vector<TranscriptionResult> expected;
    for (const std::size_t piece : {1'000'000U, 1U, 320U, 511U, 513U, 4096U}) {
        results.clear();
        auto utterances = recognizer(Volatile::unwanted);
        for (std::size_t at = 0; at < samples.size(); at += piece) {
            utterances.hear(std::span(samples).subspan(at, std::min(piece, samples.size() - at)));
            EXPECT_TRUE(utterances.work(goOn));
        }
        utterances.finish();
        EXPECT_TRUE(utterances.work(goOn) && utterances.isDone());
        if (expected.empty()) expected = results;
        EXPECT_EQ(results, expected) << piece;
    }
    // The short noise is none; the last words are within what was heard.
    EXPECT_EQ(
        texts(), (std::vector<std::string>{"w1 w2 w3", " w1 w2 w3 w4 w5 w6 w7 w8", " w1 w2 w3"}));
    EXPECT_LE(results.back().end, static_cast<double>(samples.size()) / 16000);
}

TEST_F(UtteranceRecognizerTest, anUtteranceEndsWithTheSound) {
    // After 20 s a pause of seven windows closes; the last is not whole.
    std::vector<float> samples(640 * 512, 1.0F);
    samples.resize(samples.size() + 6 * 512 + 10, 0.0F);
    auto utterances = recognizer(Volatile::unwanted);
    utterances.hear(samples);
    utterances.finish();
    EXPECT_TRUE(utterances.work(goOn));
    ASSERT_EQ(runtime.decodes().size(), 1U);
    EXPECT_EQ(runtime.decodes().front().samples, samples.size());
}

TEST_F(UtteranceRecognizerTest, whatIsFinalIsHeldNoLonger) {
    auto utterances = recognizer(Volatile::unwanted);
    // A machine that is behind: all of it is heard before the first decode.
    utterances.hear(sound({9, 2, 9, 2, 9, 2, 9, 2}));
    EXPECT_GT(utterances.held(), 40U * 16000);
    EXPECT_TRUE(utterances.work(goOn));
    EXPECT_EQ(results.size(), 4U);
    EXPECT_LT(utterances.held(), 3U * 16000);
}

TEST_F(UtteranceRecognizerTest, partialTextGrowsAndTheLastOneIsFinal) {
    auto utterances = recognizer(Volatile::wanted);
    const auto samples = sound({2, 2});
    for (std::size_t at = 0; at < samples.size(); at += 320) {
        utterances.hear(std::span(samples).subspan(at, 320));
        EXPECT_TRUE(utterances.work(goOn));
    }
    ASSERT_EQ(texts(), (std::vector<std::string>{"[w1 w2]", "[w1 w2 w3]", "[w1 w2 w3 w4]",
                           "[w1 w2 w3 w4 w5]", "w1 w2 w3 w4 w5"}));
    // The pause's decode covered all that was said: none followed it.
    const auto decodes = runtime.decodes();
    EXPECT_EQ(decodes.back().samples, static_cast<std::size_t>((results.back().end) * 16000));
    for (std::size_t i = 1; i < decodes.size(); ++i)
        EXPECT_EQ(decodes[i].guess.size(), (decodes[i - 1].samples + 7999) / 8000) << i;
}

TEST_F(UtteranceRecognizerTest, aPartialDecodeEndsWhenTheSoundDoes) {
    auto utterances = recognizer(Volatile::wanted);
    utterances.hear(sound({2}));
    bool isEnded = false;
    EXPECT_TRUE(utterances.work([&] {
        EXPECT_EQ(utterances.runsAhead(), !isEnded);
        if (!isEnded) {
            utterances.hear(sound({0.1}));
            utterances.finish();
        }
        isEnded = true;
        return true;
    }));
    EXPECT_EQ(texts(), (std::vector<std::string>{"w1 w2 w3 w4 w5"}));
    const auto decodes = runtime.decodes();
    ASSERT_EQ(decodes.size(), 2U);
    EXPECT_FALSE(decodes[0].isWhole);
    EXPECT_EQ(decodes[1].guess, SpeechTokens{1}) << "what had been decoded was not used";
}

TEST_F(UtteranceRecognizerTest, aPauseEndsAPartialDecodeButSpeechDoesNotEndThePausesDecode) {
    auto utterances = recognizer(Volatile::wanted);
    utterances.hear(sound({2}));
    int asked = 0;
    EXPECT_TRUE(utterances.work([&] {
        // The pause comes with the first question, more speech with the third, which
        // the decode of the pause asks.
        ++asked;
        if (asked == 1) utterances.hear(sound({0, 0.3}));
        if (asked == 3) utterances.hear(sound({0.1}));
        return true;
    }));
    const auto decodes = runtime.decodes();
    ASSERT_EQ(decodes.size(), 2U);
    EXPECT_FALSE(decodes[0].isWhole);
    EXPECT_TRUE(decodes[1].isWhole);
    EXPECT_EQ(texts(), (std::vector<std::string>{"[w1 w2 w3 w4 w5]"}));
}

TEST_F(UtteranceRecognizerTest, nothingMoreIsDoneWhenNothingMoreIsWanted) {
    for (const bool isFinished : {false, true}) {
        auto utterances = recognizer(Volatile::wanted);
        utterances.hear(sound({2}));
        if (isFinished) utterances.finish();
        EXPECT_FALSE(utterances.work([] { return false; }));
        EXPECT_TRUE(results.empty());
    }
}

} // namespace nimbe
