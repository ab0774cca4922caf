#include "TestRecording.h"

#include <cmath>
#include <fstream>
#include <numbers>
#include <sstream>

#include "PlatformAudioFile/SndfileAudioFiles.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {

bool TestRecording::writeTo(const std::filesystem::path& path) const {
    SF_INFO info{};
    info.format = format;
    info.samplerate = rate;
    info.channels = channels;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file) return false;
    if (!comment.empty()) sf_set_string(file, SF_STR_COMMENT, comment.c_str());
    const auto count = static_cast<std::size_t>(rate * seconds);
    const auto width = static_cast<std::size_t>(channels);
    std::vector<float> samples(count * width);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto frame = i / width;
        const double turn = toneHertz * static_cast<double>(frame) / rate;
        samples[i] = static_cast<float>(level * std::sin(2 * std::numbers::pi * turn));
    }
    // Ogg Vorbis takes only so much at once.
    bool isWritten = true;
    for (std::size_t at = 0; at < count && isWritten; at += 4096) {
        const auto some = static_cast<sf_count_t>(std::min<std::size_t>(4096, count - at));
        isWritten = sf_writef_float(file, samples.data() + at * width, some) == some;
    }
    return sf_close(file) == 0 && isWritten;
}

std::string TestRecording::bytes() const {
    const TemporaryFolder folder;
    const auto path = folder.path / "recording";
    if (!writeTo(path)) return {};
    std::ostringstream all;
    all << std::ifstream(path, std::ios::binary).rdbuf();
    return all.str();
}

std::size_t ReadRecording::frames() const {
    return format.channels == 0 ? 0 : samples.size() / format.channels;
}

double ReadRecording::level(unsigned channel) const {
    const auto count = frames();
    double sum = 0;
    std::size_t taken = 0;
    for (std::size_t i = count / 10; i < count - count / 10; ++i, ++taken) {
        const double sample = samples[i * format.channels + channel];
        sum += sample * sample;
    }
    return taken == 0 ? 0 : std::sqrt(sum / static_cast<double>(taken));
}

double ReadRecording::hertz(unsigned channel) const {
    const auto count = frames();
    const auto begin = count / 10;
    const auto end = count - count / 10;
    std::size_t crossings = 0;
    for (std::size_t i = begin; i + 1 < end; ++i) {
        const float now = samples[i * format.channels + channel];
        const float next = samples[(i + 1) * format.channels + channel];
        if ((now < 0) != (next < 0)) ++crossings;
    }
    return static_cast<double>(crossings) / 2 /
           (static_cast<double>(end - begin) / format.sampleRate);
}

ReadRecording ReadRecording::of(const std::filesystem::path& path, std::size_t framesAtOnce) {
    ReadRecording read;
    SndfileAudioFiles files;
    const auto file = files.open(path);
    if (!file) {
        read.openError = file.error();
        return read;
    }
    read.format = (*file)->format();
    read.promised = (*file)->frames();
    std::vector<float> buffer(framesAtOnce * read.format.channels);
    // An error must not be told for ever.
    while (!read.isEnded && read.errors.size() < 3) {
        const auto count = (*file)->read(buffer);
        if (!count) {
            read.errors.push_back(count.error());
            continue;
        }
        read.isEnded = *count == 0;
        const auto taken = static_cast<std::ptrdiff_t>(*count * read.format.channels);
        read.samples.insert(read.samples.end(), buffer.begin(), buffer.begin() + taken);
    }
    return read;
}

std::string withZeros(std::string bytes, std::size_t at, std::size_t count) {
    return bytes.replace(at, count, count, '\0');
}

void writeBytes(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

} // namespace nimbe
