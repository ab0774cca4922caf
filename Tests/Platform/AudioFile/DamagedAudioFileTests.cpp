#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "PlatformAudioFile/SndfileAudioFiles.h"
#include "Support/TemporaryFolder.h"
#include "TestRecording.h"

namespace nimbe {
namespace {

using Kind = AudioFileError::Kind;

constexpr int flac = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
constexpr int vorbis = SF_FORMAT_OGG | SF_FORMAT_VORBIS;

// Where a plain WAV file has its numbers, and how long what stands before its sound is.
constexpr std::size_t riffSize = 4;
constexpr std::size_t channelCount = 22;
constexpr std::size_t sampleRate = 24;
constexpr std::size_t dataSize = 40;
constexpr std::size_t headerSize = 44;

std::string withNumber(std::string bytes, std::size_t at, std::size_t width, std::uint32_t number) {
    std::string written;
    for (std::size_t i = 0; i < width; ++i) written += static_cast<char>(number >> (8 * i) & 0xFFU);
    return bytes.replace(at, width, written);
}

struct DamagedAudioFile : testing::Test {
    TemporaryFolder folder;
    std::filesystem::path path = folder.path / "recording";

    ReadRecording read(std::string_view bytes) const {
        writeBytes(path, bytes);
        return ReadRecording::of(path);
    }
};

} // namespace

TEST_F(DamagedAudioFile, whatIsNoRecordingIsNotOpened) {
    const auto wav = TestRecording{}.bytes();
    ASSERT_EQ(wav.substr(36, 4), "data");
    struct Case {
        const char* why;
        std::string bytes;
    };
    const Case cases[] = {
        {"nothing", ""},
        {"one byte", "R"},
        {"text", "Dear diary, today I said nothing at all, and nobody recorded it.\n"},
        {"text that begins like an MP3",
            "\xFF\xFE" + std::string("D\0e\0a\0r\0 \0y\0o\0u\0.\0", 18)},
        {"a tag alone", std::string("ID3\x03\0\0\0\0\0\x10", 10) + std::string(16, ' ')},
        {"zeros", std::string(4096, '\0')},
        {"cut off in the header", wav.substr(0, 20)},
        {"cut off before the sound's size", wav.substr(0, 40)},
        {"no rate", withNumber(wav, sampleRate, 4, 0)},
        {"a negative rate", withNumber(wav, sampleRate, 4, 0x8000'0000U)},
        {"no channel", withNumber(wav, channelCount, 2, 0)},
        {"65535 channels", withNumber(wav, channelCount, 2, 0xFFFF)},
        {"FLAC without sound", TestRecording{flac}.bytes().substr(0, 30)},
        {"Ogg, cut off", TestRecording{vorbis}.bytes().substr(0, 200)},
    };
    for (const auto& c : cases) {
        const auto result = read(c.bytes);
        ASSERT_TRUE(result.openError) << c.why;
        EXPECT_EQ(result.openError->kind, Kind::notAudio) << c.why << result.openError->detail;
        EXPECT_FALSE(result.openError->message().empty()) << c.why;
    }
}

TEST_F(DamagedAudioFile, whatIsNoFileIsNotReadNorWaitedFor) {
    ASSERT_EQ(::mkfifo((folder.path / "pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("loop", folder.path / "loop");
    writeBytes(folder.path / "file", "x");
    struct Case {
        std::filesystem::path path;
        Kind expected;
    };
    const Case cases[] = {
        {folder.path, Kind::notReadable},
        {folder.path / "pipe", Kind::notReadable}, // nobody writes to it
        {"/dev/zero", Kind::notReadable},
        {folder.path / "none", Kind::notFound},
        {"", Kind::notFound},
        {folder.path / "loop", Kind::notReadable},
        {folder.path / "file" / "inside", Kind::notReadable},
        {folder.path / std::string(300, 'n'), Kind::notReadable},
    };
    for (const auto& c : cases) {
        const auto result = ReadRecording::of(c.path);
        ASSERT_TRUE(result.openError) << c.path;
        EXPECT_EQ(result.openError->kind, c.expected) << c.path;
    }
}

TEST_F(DamagedAudioFile, whatMayNotBeReadIsNamedSo) {
    ASSERT_TRUE(TestRecording{}.writeTo(path));
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    // The superuser may read everything, so the test asks as another user.
    const bool isRoot = ::geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(::chmod(folder.path.c_str(), 0755), 0);
        ASSERT_EQ(::seteuid(65534), 0);
    }
    const auto result = ReadRecording::of(path);
    if (isRoot) {
        ASSERT_EQ(::seteuid(0), 0);
    }
    ASSERT_TRUE(result.openError);
    EXPECT_EQ(result.openError->kind, Kind::notReadable);
    EXPECT_EQ(result.openError->message(), "The file cannot be read: Permission denied.");
}

TEST_F(DamagedAudioFile, whatIsThereIsReadAndThenTheDamageToldOnce) {
    const auto wav = TestRecording{}.bytes();
    const auto lossless = TestRecording{flac}.bytes();
    const auto aiff = TestRecording{SF_FORMAT_AIFF | SF_FORMAT_PCM_16}.bytes();
    TestRecording described;
    described.comment = std::string(5000, 'c');
    const auto longHeader = described.bytes();
    struct Case {
        const char* why;
        std::string bytes;
        std::size_t least;
        std::size_t most; // frames
    };
    const Case cases[] = {
        {"half of a WAV", wav.substr(0, headerSize + 16'000), 8'000, 8'000},
        {"cut off within a sample", wav.substr(0, headerSize + 16'001), 8'000, 8'001},
        {"not one sample", wav.substr(0, headerSize), 0, 0},
        {"4 GB are promised", withNumber(wav, dataSize, 4, 4'000'000'000U), 16'000, 16'000},
        {"half of a FLAC", lossless.substr(0, lossless.size() / 2), 4'000, 8'192},
        {"half of an AIFF", aiff.substr(0, aiff.size() - 16'000), 8'000, 8'000},
        {"half, after a long comment", longHeader.substr(0, longHeader.size() - 16'000), 8'000,
            8'000},
        {"a hole in a FLAC", withZeros(lossless, lossless.size() / 2, 500), 4'096, 15'999},
    };
    for (const auto& c : cases) {
        const auto result = read(c.bytes);
        ASSERT_FALSE(result.openError) << c.why << ": " << result.openError->detail;
        EXPECT_GE(result.frames(), c.least) << c.why;
        EXPECT_LE(result.frames(), c.most) << c.why;
        ASSERT_EQ(result.errors.size(), 1U) << c.why;
        EXPECT_EQ(result.errors[0].kind, Kind::damaged) << c.why;
        EXPECT_TRUE(result.isEnded) << c.why;
    }
}

TEST_F(DamagedAudioFile, oddHeadersOfWholeRecordingsAreNoDamage) {
    const auto wav = TestRecording{}.bytes();
    const auto streamed = [&](std::uint32_t size) {
        return withNumber(withNumber(wav, riffSize, 4, size), dataSize, 4, size);
    };
    struct Case {
        const char* why;
        std::string bytes;
    };
    const Case cases[] = {
        {"written into a pipe", streamed(0xFFFF'FFFF)},
        {"written into a pipe by another program", streamed(0x7FFF'FFFF)},
        {"by a third", withNumber(wav, riffSize, 4, 0xFFFF'FFFF)},
        {"the recorder's power failed",
            withNumber(withNumber(wav, riffSize, 4, 8), dataSize, 4, 0)},
        {"a wrong number of bytes a second", withNumber(wav, 28, 4, 1)},
        {"what follows the sound is cut off", wav + "LIST\x40"},
    };
    for (const auto& c : cases) {
        const auto result = read(c.bytes);
        ASSERT_FALSE(result.openError) << c.why << ": " << result.openError->detail;
        EXPECT_EQ(result.frames(), 16'000U) << c.why;
        EXPECT_TRUE(result.errors.empty()) << c.why << ": " << result.errors[0].detail;
    }
}

TEST_F(DamagedAudioFile, aRateThatNoRecorderHasIsStillTold) {
    const auto wav = TestRecording{}.bytes();
    for (const std::uint32_t rate : {1U, 100U, 0x7FFF'FFFFU}) {
        const auto result = read(withNumber(wav, sampleRate, 4, rate));
        ASSERT_FALSE(result.openError) << rate;
        EXPECT_EQ(result.format.sampleRate, rate);
        EXPECT_EQ(result.frames(), 16'000U);
    }
}

// Nothing in these tells how long they were meant to be.
TEST_F(DamagedAudioFile, aStreamThatWasCutOffIsReadAsFarAsItGoes) {
    const auto ogg = TestRecording{vorbis, 16'000, 1, 60}.bytes();
    const auto opus = TestRecording{SF_FORMAT_OGG | SF_FORMAT_OPUS, 16'000, 1, 60}.bytes();
    for (const auto& bytes : {ogg, opus}) {
        const auto result = read(bytes.substr(0, bytes.size() / 2));
        ASSERT_FALSE(result.openError) << result.openError->detail;
        EXPECT_GT(result.frames(), 60U * 16'000 / 4);
        EXPECT_LT(result.frames(), 60U * 16'000 * 3 / 4);
        EXPECT_TRUE(result.isEnded);
    }
}

} // namespace nimbe
