#include "PlatformAudioFile/SndfileAudioFiles.h"

#include <cerrno>
#include <fcntl.h>
#include <sndfile.h>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "PlatformAudioFile/MpegAudioFile.h"

namespace nimbe {
namespace {

using Kind = AudioFileError::Kind;

AudioFileError systemError(int number) {
    return {number == ENOENT ? Kind::notFound : Kind::notReadable,
        std::generic_category().message(number)};
}

/// Bytes of sound that the header promises, where it stands in a chunk of its own.
std::optional<std::uint64_t> promisedBytes(SNDFILE* file) {
    for (const std::string_view name : {"data", "SSND"}) {
        SF_CHUNK_INFO chunk{};
        name.copy(chunk.id, sizeof chunk.id);
        chunk.id_size = static_cast<unsigned>(name.size());
        const auto* found = sf_get_chunk_iterator(file, &chunk);
        if (found && sf_get_chunk_size(found, &chunk) == SF_ERR_NO_ERROR) return chunk.datalen;
    }
    return std::nullopt;
}

/// What programs write that send a recording down a pipe and cannot know its length:
/// near the largest 31-bit or 32-bit number.
bool isPlaceholder(std::uint64_t bytes) {
    return (bytes >= 0x7FFF'0000 && bytes <= 0x8000'0000) || bytes >= 0xFFFF'0000;
}

/// The library takes the sound that is there for all of it.
bool endsEarly(SNDFILE* file, std::uint64_t fileSize) {
    constexpr std::uint64_t leastHeader = 44; // of a WAV file
    const auto promised = promisedBytes(file);
    return promised && !isPlaceholder(*promised) && *promised + leastHeader > fileSize;
}

class SndfileAudioFile final : public AudioFile {
public:
    SndfileAudioFile(SNDFILE* file, int descriptor, const SF_INFO& info, std::uint64_t fileSize)
        : file(file), descriptor(descriptor), info(info), isTruncated(endsEarly(file, fileSize)) {}
    SndfileAudioFile(const SndfileAudioFile&) = delete;
    SndfileAudioFile& operator=(const SndfileAudioFile&) = delete;
    ~SndfileAudioFile() override {
        sf_close(file);
        ::close(descriptor);
    }

    [[nodiscard]] AudioFormat format() const override {
        return {static_cast<double>(info.samplerate), static_cast<unsigned>(info.channels)};
    }

    [[nodiscard]] std::optional<std::uint64_t> frames() const override {
        if (info.frames <= 0 || info.frames == SF_COUNT_MAX) return std::nullopt;
        return static_cast<std::uint64_t>(info.frames);
    }

    [[nodiscard]] Result<std::size_t, AudioFileError> read(std::span<float> samples) override {
        if (isEnded) return std::size_t{0};
        const auto wanted = samples.size() / static_cast<std::size_t>(info.channels);
        const auto count = sf_readf_float(file, samples.data(), static_cast<sf_count_t>(wanted));
        if (count > 0) {
            done += count;
            return static_cast<std::size_t>(count);
        }
        isEnded = true;
        if (sf_error(file) != SF_ERR_NO_ERROR)
            return failure(AudioFileError{Kind::damaged, sf_strerror(file)});
        // Compressed formats end where their data ends, whatever their header says.
        if (isTruncated || (frames() && done < info.frames))
            return failure(AudioFileError{Kind::damaged, "it ends early"});
        return std::size_t{0};
    }

private:
    SNDFILE* file;
    int descriptor;
    SF_INFO info;
    bool isTruncated;
    bool isEnded = false;
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
    if (MpegAudioFile::isOne(descriptor)) return MpegAudioFile::open(descriptor);
    SF_INFO info{};
    SNDFILE* file = sf_open_fd(descriptor, SFM_READ, &info, SF_FALSE);
    if (!file) {
        ::close(descriptor);
        return failure(AudioFileError{Kind::notAudio, sf_strerror(nullptr)});
    }
    auto opened = std::make_unique<SndfileAudioFile>(
        file, descriptor, info, static_cast<std::uint64_t>(status.st_size));
    if (info.samplerate <= 0 || info.channels <= 0) return failure(AudioFileError{Kind::unusable});
    return opened;
}

} // namespace nimbe
