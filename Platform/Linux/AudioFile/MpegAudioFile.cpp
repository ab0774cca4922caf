#include "PlatformAudioFile/MpegAudioFile.h"

#include <array>
#include <mpg123.h>
#include <sys/types.h>
#include <unistd.h>

namespace nimbe {
namespace {

using Kind = AudioFileError::Kind;

/// Of an ID3v2 tag at the file's beginning, whose size has seven bits to a byte; 0: none.
/// https://id3.org/id3v2.3.0#ID3v2_header
off_t tagLength(int descriptor) {
    std::array<unsigned char, 10> head{};
    if (::pread(descriptor, head.data(), head.size(), 0) != ssize_t{head.size()}) return 0;
    if (head[0] != 'I' || head[1] != 'D' || head[2] != '3') return 0;
    off_t length = 0;
    for (std::size_t i = 6; i < head.size(); ++i) length = length << 7 | (head[i] & 0x7F);
    return length + off_t{head.size()};
}

} // namespace

bool MpegAudioFile::isOne(int descriptor) {
    std::array<unsigned char, 4> head{};
    const auto count = ::pread(descriptor, head.data(), head.size(), tagLength(descriptor));
    // Eleven ones, then version, layer, bit rate and sample rate, none of them reserved.
    return count == ssize_t{head.size()} && head[0] == 0xFF && (head[1] & 0xE0) == 0xE0 &&
           (head[1] & 0x18) != 0x08 && (head[1] & 0x06) != 0 && (head[2] & 0xF0) != 0xF0 &&
           (head[2] & 0x0C) != 0x0C;
}

void MpegAudioFile::Close::operator()(mpg123_handle_struct* handle) const {
    mpg123_close(handle);
    mpg123_delete(handle);
}

MpegAudioFile::MpegAudioFile(int descriptor)
    : handle(mpg123_new(nullptr, nullptr)), descriptor(descriptor) {}

MpegAudioFile::~MpegAudioFile() {
    handle.reset();
    ::close(descriptor);
}

Result<std::unique_ptr<AudioFile>, AudioFileError> MpegAudioFile::open(int descriptor) {
    auto file = std::unique_ptr<MpegAudioFile>(new MpegAudioFile(descriptor));
    if (!file->handle) return failure(AudioFileError{Kind::notReadable, "no memory"});
    if (!file->prepare()) return failure(AudioFileError{Kind::notAudio, file->problem()});
    return file;
}

bool MpegAudioFile::prepare() {
    auto* mpeg = handle.get();
    constexpr long flags = MPG123_QUIET | MPG123_FORCE_FLOAT;
    if (mpg123_param(mpeg, MPG123_ADD_FLAGS, flags, 0) != MPG123_OK) return false;
    // What changes its format on the way is converted to how it began.
    if (mpg123_open_fd(mpeg, descriptor) != MPG123_OK) return false;
    long rate = 0;
    int channels = 0;
    int encoding = 0;
    if (mpg123_getformat(mpeg, &rate, &channels, &encoding) != MPG123_OK) return false;
    if (rate <= 0 || channels <= 0 || encoding != MPG123_ENC_FLOAT_32) return false;
    mpg123_format_none(mpeg);
    mpg123_format(mpeg, rate, channels, encoding);
    heard = {static_cast<double>(rate), static_cast<unsigned>(channels)};
    // Only the header that tells the encoder's delay tells the length as well; without
    // it this is a guess.
    long delay = -1;
    const bool hasHeader =
        mpg123_getstate(mpeg, MPG123_ENC_DELAY, &delay, nullptr) == MPG123_OK && delay >= 0;
    if (const auto length = mpg123_length(mpeg); hasHeader && length > 0)
        promised = static_cast<std::uint64_t>(length);
    if (mpg123_scan(mpeg) == MPG123_OK)
        if (const auto length = mpg123_length(mpeg); length > 0)
            counted = static_cast<std::uint64_t>(length);
    return true;
}

Result<std::size_t, AudioFileError> MpegAudioFile::read(std::span<float> samples) {
    if (isEnded) return std::size_t{0};
    const std::size_t frameSize = heard.channels * sizeof(float);
    const auto room = samples.size() / heard.channels * frameSize;
    std::size_t bytes = 0;
    int status = MPG123_OK;
    // The first call may bring no more than the format that was chosen.
    do {
        status = mpg123_read(handle.get(), samples.data(), room, &bytes);
    } while (bytes == 0 && (status == MPG123_OK || status == MPG123_NEW_FORMAT));
    done += bytes / frameSize;
    if (bytes > 0) return bytes / frameSize;
    isEnded = true;
    if (status != MPG123_DONE) return failure(AudioFileError{Kind::damaged, problem()});
    if (done < promised) return failure(AudioFileError{Kind::damaged, "it ends early"});
    return std::size_t{0};
}

std::string MpegAudioFile::problem() const {
    return mpg123_strerror(handle.get());
}

} // namespace nimbe
