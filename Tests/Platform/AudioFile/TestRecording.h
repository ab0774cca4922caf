#pragma once

#include <filesystem>
#include <optional>
#include <sndfile.h>
#include <string>
#include <vector>

#include "NimbeEngine/Audio/AudioFile.h"

namespace nimbe {

constexpr double toneHertz = 440;

/// A recording that the library writes for a test.
struct TestRecording {
    int format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    int rate = 16'000;
    int channels = 1;
    double seconds = 1;
    double level = 0.5; // of the tone, in every channel
    std::string comment = {};

    /// False when the library here cannot write this format.
    [[nodiscard]] bool writeTo(const std::filesystem::path& path) const;
    /// The bytes of the file.
    [[nodiscard]] std::string bytes() const;
};

/// What came of reading a recording to its end.
struct ReadRecording {
    std::optional<AudioFileError> openError = {};
    AudioFormat format = {};
    std::optional<std::uint64_t> promised = {}; // frames()
    std::vector<float> samples = {};
    std::vector<AudioFileError> errors = {}; // in their order
    bool isEnded = false;                    // by an answer of no frames

    [[nodiscard]] std::size_t frames() const;
    /// Of the tone in one channel, apart from the file's ends: its root mean square.
    [[nodiscard]] double level(unsigned channel) const;
    [[nodiscard]] double hertz(unsigned channel) const;

    /// Frames at once are what the reader asks for.
    [[nodiscard]] static ReadRecording of(
        const std::filesystem::path& path, std::size_t framesAtOnce = 4096);
};

/// The bytes with `count` of them zero.
[[nodiscard]] std::string withZeros(std::string bytes, std::size_t at, std::size_t count);

void writeBytes(const std::filesystem::path& path, std::string_view bytes);

} // namespace nimbe
