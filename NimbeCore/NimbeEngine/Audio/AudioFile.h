#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "Foundation/Result.h"
#include "NimbeEngine/Audio/AudioFormat.h"

namespace nimbe {

struct AudioFileError {
    enum class Kind { notFound, notReadable, notAudio, unusable, damaged, notRecognised };
    Kind kind = Kind::notReadable;
    std::string detail = {}; // the library's or the system's own word

    /// For the user.
    [[nodiscard]] std::string message() const;
};

/// A recording that is read from its beginning to its end. One thread.
class AudioFile {
public:
    virtual ~AudioFile() = default;

    [[nodiscard]] virtual AudioFormat format() const = 0;
    /// As the file says; absent when it does not.
    [[nodiscard]] virtual std::optional<std::uint64_t> frames() const = 0;

    /// Fills whole frames into `samples`, as many as fit and there are; 0 at the end.
    /// An error after some frames comes with the next call.
    [[nodiscard]] virtual Result<std::size_t, AudioFileError> read(std::span<float> samples) = 0;
};

/// Opens recordings. Any thread.
class AudioFiles {
public:
    virtual ~AudioFiles() = default;
    [[nodiscard]] virtual Result<std::unique_ptr<AudioFile>, AudioFileError> open(
        const std::filesystem::path& path) = 0;
};

} // namespace nimbe
