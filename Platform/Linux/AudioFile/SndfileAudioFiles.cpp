#include "PlatformAudioFile/SndfileAudioFiles.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sndfile.h>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace nimbe {
namespace {

using Kind = AudioFileError::Kind;

AudioFileError systemError(int number) {
    return {number == ENOENT ? Kind::notFound : Kind::notReadable,
        std::generic_category().message(number)};
}

/// The library takes the sound that is there, and only notes that the header promised
/// more.
bool endsEarly(SNDFILE* file) {
    std::array<char, 16384> log{};
    const int length = sf_command(file, SFC_GET_LOG_INFO, log.data(), log.size());
    const std::string_view text(log.data(), static_cast<std::size_t>(std::max(length, 0)));
    return text.find("(should be") != std::string_view::npos;
}

class SndfileAudioFile final : public AudioFile {
public:
    SndfileAudioFile(SNDFILE* file, const SF_INFO& info)
        : file(file), info(info), isTruncated(endsEarly(file)) {}
    SndfileAudioFile(const SndfileAudioFile&) = delete;
    SndfileAudioFile& operator=(const SndfileAudioFile&) = delete;
    ~SndfileAudioFile() override { sf_close(file); }

    [[nodiscard]] AudioFormat format() const override {
        return {static_cast<double>(info.samplerate), static_cast<unsigned>(info.channels)};
    }

    [[nodiscard]] std::optional<std::uint64_t> frames() const override {
        if (info.frames <= 0 || info.frames == SF_COUNT_MAX) return std::nullopt;
        return static_cast<std::uint64_t>(info.frames);
    }

    [[nodiscard]] Result<std::size_t, AudioFileError> read(std::span<float> samples) override {
        const auto wanted = samples.size() / static_cast<std::size_t>(info.channels);
        const auto count = sf_readf_float(file, samples.data(), static_cast<sf_count_t>(wanted));
        if (count > 0) {
            done += count;
            return static_cast<std::size_t>(count);
        }
        if (sf_error(file) != SF_ERR_NO_ERROR)
            return failure(AudioFileError{Kind::damaged, sf_strerror(file)});
        // Compressed formats end where their data ends, whatever their header says.
        const bool isShort = isTruncated || (frames() && done < info.frames);
        if (isShort && !isReported) {
            isReported = true;
            return failure(AudioFileError{Kind::damaged, "it ends early"});
        }
        return std::size_t{0};
    }

private:
    SNDFILE* file;
    SF_INFO info;
    bool isTruncated;
    bool isReported = false;
    sf_count_t done = 0;
};

} // namespace

Result<std::unique_ptr<AudioFile>, AudioFileError> SndfileAudioFiles::open(
    const std::filesystem::path& path) {
    // Not blocking: a named pipe in the file's place must not stop the program.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return failure(systemError(errno));
    struct stat status {};
    const bool isKnown = ::fstat(descriptor, &status) == 0;
    if (!isKnown || !S_ISREG(status.st_mode)) {
        ::close(descriptor);
        return failure(AudioFileError{Kind::notReadable, "it is not a regular file"});
    }
    SF_INFO info{};
    SNDFILE* file = sf_open_fd(descriptor, SFM_READ, &info, SF_TRUE);
    // On failure the library has closed the descriptor as well.
    if (!file) return failure(AudioFileError{Kind::notAudio, sf_strerror(nullptr)});
    if (info.samplerate <= 0 || info.channels <= 0) {
        sf_close(file);
        return failure(AudioFileError{Kind::unusable});
    }
    return std::make_unique<SndfileAudioFile>(file, info);
}

} // namespace nimbe
