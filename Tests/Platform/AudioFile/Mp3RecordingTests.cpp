#include <gtest/gtest.h>

#include "Support/TemporaryFolder.h"
#include "TestRecording.h"

namespace nimbe {
namespace {

constexpr int mp3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;

struct Mp3Recording : testing::Test {
    TemporaryFolder folder;
    std::filesystem::path path = folder.path / "recording";

    ReadRecording read(std::string_view bytes) const {
        writeBytes(path, bytes);
        return ReadRecording::of(path);
    }
};

} // namespace

// An MP3 of another encoder has no frame that counts the others.
TEST_F(Mp3Recording, anMp3WithoutItsLengthIsReadToItsEnd) {
    const auto plain = TestRecording{mp3, 44'100, 1, 20}.bytes();
    ASSERT_NE(std::min(plain.find("Info"), plain.find("Xing")), plain.npos);
    // Its bit rate and padding give the first frame's length.
    constexpr int kilobits[] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
    const auto head = static_cast<unsigned char>(plain.at(2));
    const auto first =
        static_cast<std::size_t>(144'000 * kilobits[head >> 4U] / 44'100) + (head >> 1U & 1U);
    const auto bare = plain.substr(first);
    ASSERT_EQ(bare.substr(0, 1), "\xFF");
    std::string tag("ID3\x03\0\0\0\x01\0\0", 10); // 16384 bytes of a picture
    tag += std::string(16'384, 'p');
    const std::size_t frames = 20 * 44'100;
    for (const auto& [why, bytes] : {std::pair("bare", bare), std::pair("tagged", tag + bare),
             std::pair("a tag at the end", bare + "TAG" + std::string(125, ' '))}) {
        const auto result = read(bytes);
        ASSERT_FALSE(result.openError) << why << ": " << result.openError->detail;
        EXPECT_TRUE(result.errors.empty()) << why << ": " << result.errors[0].detail;
        EXPECT_GE(result.frames(), frames) << why;
        EXPECT_LE(result.frames(), frames + 4 * 1152) << why;
    }
}

TEST_F(Mp3Recording, twoMp3sInOneFileAreReadBoth) {
    const auto first = TestRecording{mp3, 44'100, 1, 3}.bytes();
    for (const int rate : {44'100, 22'050}) {
        const auto second = TestRecording{mp3, rate, 1, 4}.bytes();
        const auto result = read(first + second);
        ASSERT_FALSE(result.openError) << rate;
        EXPECT_TRUE(result.errors.empty()) << rate << result.errors[0].detail;
        EXPECT_GE(result.frames(), 7U * 44'100 - 44'100 / 10) << rate;
        EXPECT_EQ(result.format.sampleRate, 44'100) << rate;
    }
}

TEST_F(Mp3Recording, anMp3WithAHoleGoesOnBehindIt) {
    const auto song = TestRecording{mp3, 16'000, 1, 20}.bytes();
    const auto result = read(withZeros(song, song.size() / 2, 2'000));
    ASSERT_FALSE(result.openError);
    EXPECT_GE(result.frames(), 15U * 16'000);
    EXPECT_TRUE(result.isEnded);
}

TEST_F(Mp3Recording, halfOfOneThatTellsItsLengthIsDamaged) {
    const auto song = TestRecording{mp3}.bytes();
    const auto result = read(song.substr(0, song.size() / 2));
    ASSERT_FALSE(result.openError);
    EXPECT_GE(result.frames(), 5'000U);
    EXPECT_LE(result.frames(), 9'000U);
    ASSERT_EQ(result.errors.size(), 1U);
    EXPECT_EQ(result.errors[0].kind, AudioFileError::Kind::damaged);
    EXPECT_TRUE(result.isEnded);
}

} // namespace nimbe
