#include <cmath>

#include <gtest/gtest.h>

#include "Support/TemporaryFolder.h"
#include "TestRecording.h"

namespace nimbe {

TEST(SndfileAudioFiles, aToneComesBackWithItsLengthAndLevel) {
    // A codec may add a part of its last block.
    struct Case {
        const char* why;
        int format;
        int rate;
        int channels;
        std::size_t more = 0; // frames
    };
    constexpr int wav = SF_FORMAT_WAV;
    constexpr int vorbis = SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    constexpr int mp3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
    const Case cases[] = {
        {"telephone", wav | SF_FORMAT_PCM_U8, 8'000, 1},
        {"the format that is heard", wav | SF_FORMAT_PCM_16, 16'000, 1},
        {"24 bits", wav | SF_FORMAT_PCM_24, 44'100, 2},
        {"32 bits", wav | SF_FORMAT_PCM_32, 96'000, 2},
        {"floats", wav | SF_FORMAT_FLOAT, 192'000, 1},
        {"doubles", wav | SF_FORMAT_DOUBLE, 48'000, 6},
        {"as many channels as an interface has", wav | SF_FORMAT_PCM_16, 48'000, 64},
        {"answering machine", wav | SF_FORMAT_ULAW, 8'000, 1},
        {"more than 4 GB could be in it", SF_FORMAT_RF64 | SF_FORMAT_PCM_16, 48'000, 2},
        {"AIFF", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 44'100, 2},
        {"AU", SF_FORMAT_AU | SF_FORMAT_PCM_16, 22'050, 1},
        {"FLAC", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 16'000, 1},
        {"FLAC, 6 channels", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 48'000, 6},
        {"FLAC, the highest rate", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 192'000, 2},
        {"Vorbis", vorbis, 44'100, 2},
        {"Vorbis, 6 channels", vorbis, 48'000, 6},
        {"Vorbis, telephone", vorbis, 8'000, 1},
        {"Opus", SF_FORMAT_OGG | SF_FORMAT_OPUS, 48'000, 2},
        {"Opus, telephone", SF_FORMAT_OGG | SF_FORMAT_OPUS, 8'000, 1},
        {"MP3", mp3, 44'100, 2, 2304},
        {"MP3, the format that is heard", mp3, 16'000, 1, 2304},
    };
    const TemporaryFolder folder;
    const auto path = folder.path / "tone";
    for (const auto& c : cases) {
        const TestRecording recording{c.format, c.rate, c.channels};
        ASSERT_TRUE(recording.writeTo(path)) << c.why;
        const auto read = ReadRecording::of(path);
        ASSERT_FALSE(read.openError) << c.why << read.openError->detail;
        EXPECT_TRUE(read.errors.empty()) << c.why << ": " << read.errors[0].detail;
        EXPECT_TRUE(read.isEnded) << c.why;
        EXPECT_EQ(read.format.sampleRate, c.rate) << c.why;
        ASSERT_EQ(read.format.channels, static_cast<unsigned>(c.channels)) << c.why;
        EXPECT_GE(read.frames(), static_cast<std::size_t>(c.rate)) << c.why;
        EXPECT_LE(read.frames(), static_cast<std::size_t>(c.rate) + c.more) << c.why;
        // The last of six channels is for the lowest tones alone.
        for (const unsigned channel : {0U, read.format.channels > 1 ? 1U : 0U}) {
            EXPECT_NEAR(read.level(channel), 0.5 / std::sqrt(2), 0.02) << c.why;
            EXPECT_NEAR(read.hertz(channel), 440, 2) << c.why;
        }
    }
}

TEST(SndfileAudioFiles, piecesOfAnySizeAreTheSameSound) {
    const TemporaryFolder folder;
    const auto path = folder.path / "tone";
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_FLAC | SF_FORMAT_PCM_16,
             SF_FORMAT_OGG | SF_FORMAT_VORBIS, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III}) {
        ASSERT_TRUE((TestRecording{format, 44'100, 2}.writeTo(path)));
        const auto whole = ReadRecording::of(path, 100'000);
        const auto pieces = ReadRecording::of(path, 7);
        EXPECT_EQ(whole.samples, pieces.samples) << format;
        EXPECT_TRUE(pieces.errors.empty()) << format;
    }
}

TEST(SndfileAudioFiles, promisedFramesAreThoseThatCome) {
    const TemporaryFolder folder;
    const auto path = folder.path / "tone";
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_FLAC | SF_FORMAT_PCM_16,
             SF_FORMAT_OGG | SF_FORMAT_VORBIS, SF_FORMAT_OGG | SF_FORMAT_OPUS}) {
        ASSERT_TRUE((TestRecording{format, 48'000, 1}.writeTo(path)));
        const auto read = ReadRecording::of(path);
        EXPECT_EQ(read.promised, read.frames()) << format;
    }
}

// The words of a tag are no word about the file.
TEST(SndfileAudioFiles, aCommentIsNotTakenForDamage) {
    const TemporaryFolder folder;
    const auto path = folder.path / "tone";
    TestRecording recording;
    recording.comment = "RIFF : 5 (should be louder), data : 9 (should be 8)";
    ASSERT_TRUE(recording.writeTo(path));
    const auto read = ReadRecording::of(path);
    EXPECT_EQ(read.frames(), 16'000U);
    EXPECT_TRUE(read.errors.empty());
}

TEST(SndfileAudioFiles, namesAreBytes) {
    const TemporaryFolder folder;
    for (const char* name : {"\xC3\x9C"
                             "bung \xE2\x98\x83.wav",
             "bad \xFF\xFE.wav", "-dash", "a\nb"}) {
        const auto path = folder.path / name;
        ASSERT_TRUE(TestRecording{}.writeTo(path));
        EXPECT_EQ(ReadRecording::of(path).frames(), 16'000U) << name;
    }
}

} // namespace nimbe
