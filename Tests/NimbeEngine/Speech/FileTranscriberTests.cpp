#include <stdexcept>

#include <gtest/gtest.h>

#include "Fakes/FakeAudioConverters.h"
#include "Fakes/FakeSpeechRuntime.h"
#include "NimbeEngine/Speech/FileTranscriber.h"

namespace nimbe {
namespace {

using Kind = AudioFileError::Kind;

/// So many frames at full level; then the end, or an error.
class LoudFile final : public AudioFile {
public:
    LoudFile(AudioFormat format, std::size_t frames, std::optional<AudioFileError> error = {})
        : fileFormat(format), left(frames), error(std::move(error)) {}

    AudioFormat format() const override { return fileFormat; }
    std::optional<std::uint64_t> frames() const override { return std::nullopt; }
    Result<std::size_t, AudioFileError> read(std::span<float> samples) override {
        const auto count = std::min(left, samples.size() / fileFormat.channels);
        std::fill_n(samples.begin(), count * fileFormat.channels, 1.0F);
        left -= count;
        if (count == 0 && error) return failure(*error);
        return count;
    }

private:
    AudioFormat fileFormat;
    std::size_t left;
    std::optional<AudioFileError> error;
};

/// Breaks down with the second utterance.
class BreakingDecoder final : public SpeechDecoder {
public:
    Decoded decode(std::span<const float> /*samples*/, const SpeechTokens& /*guess*/,
        const std::function<bool()>& /*keepsGoing*/) override {
        if (++count == 2) throw std::runtime_error("out of memory");
        return {{1}, true};
    }
    std::string text(const SpeechTokens& /*tokens*/) const override { return "first"; }
    void interrupt() noexcept override {}

private:
    int count = 0;
};

} // namespace

TEST(FileTranscriber, allOfARecordingIsHeard) {
    struct Case {
        const char* why;
        AudioFormat format;
        std::size_t frames;
        std::size_t tail; // what the converter still holds at the end
        bool isRefused;
        std::optional<Kind> ending;
        const char* text;
        double duration;
        std::optional<Kind> error;
    };
    const Case cases[] = {
        {"nothing in it", {16000, 1}, 0, 0, false, {}, "", 0, {}},
        {"as it is heard", {16000, 1}, 20'000, 0, false, {}, "w1 w2 w3", 1.25, {}},
        {"the converter's rest counts", {48000, 2}, 16'000, 4'000, false, {}, "w1 w2 w3", 1.25, {}},
        {"damaged in the middle", {16000, 1}, 16'000, 0, false, Kind::damaged, "w1 w2", 1,
            Kind::damaged},
        {"no converter", {48000, 2}, 16'000, 0, true, {}, "", 0, Kind::unusable},
        {"a rate of 0", {0, 1}, 16'000, 0, true, {}, "", 0, Kind::unusable},
    };
    for (const auto& c : cases) {
        FakeSpeechRuntime runtime;
        auto recognizer = *runtime.load("");
        FakeAudioConverters converters;
        converters.isRefusing = c.isRefused;
        converters.tail.assign(c.tail, 1.0F);
        std::optional<AudioFileError> ending;
        if (c.ending) ending = AudioFileError{*c.ending};
        LoudFile file(c.format, c.frames, ending);
        double last = 0;
        const auto transcript =
            FileTranscriber(converters, recognizer).transcribe(file, [&](Seconds done) {
                last = done;
                return true;
            });
        EXPECT_EQ(transcript.text, c.text) << c.why;
        EXPECT_EQ(transcript.duration, c.duration) << c.why;
        EXPECT_EQ(last, c.duration) << c.why;
        EXPECT_EQ(transcript.error.has_value(), c.error.has_value()) << c.why;
        if (c.error) {
            EXPECT_EQ(transcript.error->kind, *c.error) << c.why;
        }
    }
}

TEST(FileTranscriber, whatWasRecognisedBeforeABreakdownIsKept) {
    FakeSpeechRuntime runtime;
    auto recognizer = *runtime.load("");
    recognizer.decoder = std::make_unique<BreakingDecoder>();
    FakeAudioConverters converters;
    LoudFile file({16000, 1}, 16000 * 60);
    const auto transcript =
        FileTranscriber(converters, recognizer).transcribe(file, [](auto) { return true; });
    EXPECT_EQ(transcript.text, "first");
    ASSERT_TRUE(transcript.error);
    EXPECT_EQ(transcript.error->kind, Kind::notRecognised);
}

TEST(FileTranscriber, whatWasHeardBeforeAnEndIsRecognised) {
    FakeSpeechRuntime runtime;
    auto recognizer = *runtime.load("");
    FakeAudioConverters converters;
    LoudFile file({16000, 1}, 16000 * 60);
    const auto transcript =
        FileTranscriber(converters, recognizer).transcribe(file, [](Seconds done) {
            return done < 2;
        });
    EXPECT_EQ(transcript.text, "w1 w2 w3 w4 w5");
    EXPECT_FALSE(transcript.error);
    EXPECT_LT(transcript.duration, 3);
}

} // namespace nimbe
