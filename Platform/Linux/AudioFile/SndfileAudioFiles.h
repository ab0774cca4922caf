#pragma once

#include "NimbeEngine/Audio/AudioFile.h"

namespace nimbe {

/// Recordings through libsndfile: WAV, FLAC, Ogg with Vorbis or Opus, MP3 and what
/// else it reads.
class SndfileAudioFiles final : public AudioFiles {
public:
    [[nodiscard]] Result<std::unique_ptr<AudioFile>, AudioFileError> open(
        const std::filesystem::path& path) override;
};

} // namespace nimbe
