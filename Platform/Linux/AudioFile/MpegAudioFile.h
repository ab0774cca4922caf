#pragma once

#include <memory>
#include <optional>

#include "NimbeEngine/Audio/AudioFile.h"

struct mpg123_handle_struct;

namespace nimbe {

/// An MP3 recording through libmpg123. libsndfile reads them too, but takes a length
/// that it only guesses, where no header tells it, for the end of the sound, and writes
/// warnings to standard error.
class MpegAudioFile final : public AudioFile {
public:
    /// By its first bytes, behind a tag. Does not move where the descriptor stands.
    [[nodiscard]] static bool isOne(int descriptor);
    /// Takes the descriptor, which stands at the file's beginning.
    [[nodiscard]] static Result<std::unique_ptr<AudioFile>, AudioFileError> open(int descriptor);
    ~MpegAudioFile() override;
    MpegAudioFile(const MpegAudioFile&) = delete;
    MpegAudioFile& operator=(const MpegAudioFile&) = delete;

    [[nodiscard]] AudioFormat format() const override { return heard; }
    /// Counted, whatever a header says.
    [[nodiscard]] std::optional<std::uint64_t> frames() const override { return counted; }
    [[nodiscard]] Result<std::size_t, AudioFileError> read(std::span<float> samples) override;

private:
    struct Close {
        void operator()(mpg123_handle_struct* handle) const;
    };
    std::unique_ptr<mpg123_handle_struct, Close> handle;
    int descriptor;
    AudioFormat heard;
    std::optional<std::uint64_t> counted;
    std::uint64_t promised = 0; // 0: no header says
    std::uint64_t done = 0;
    bool isEnded = false;

    explicit MpegAudioFile(int descriptor);
    [[nodiscard]] bool prepare();
    [[nodiscard]] std::string problem() const;
};

} // namespace nimbe
