#include "Sound.h"

#include <algorithm>
#include <samplerate.h>
#include <sndfile.h>
#include <stdexcept>

namespace nimbe {

Sound Sound::read(const std::filesystem::path& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file || info.channels != 1) throw std::runtime_error("cannot read " + path.string());
    Sound sound{std::vector<float>(static_cast<std::size_t>(info.frames)), info.samplerate};
    sf_readf_float(file, sound.samples.data(), info.frames);
    sf_close(file);
    return sound;
}

Sound Sound::silence(double seconds) {
    Sound sound;
    sound.samples.resize(static_cast<std::size_t>(seconds * sound.rate));
    return sound;
}

Sound Sound::at(int otherRate) const {
    SRC_DATA data{};
    data.src_ratio = static_cast<double>(otherRate) / rate;
    Sound other{std::vector<float>(static_cast<std::size_t>(
                    data.src_ratio * static_cast<double>(samples.size()) + 100)),
        otherRate};
    data.data_in = samples.data();
    data.input_frames = static_cast<long>(samples.size());
    data.data_out = other.samples.data();
    data.output_frames = static_cast<long>(other.samples.size());
    if (src_simple(&data, SRC_SINC_MEDIUM_QUALITY, 1) != 0) throw std::runtime_error("resampling");
    other.samples.resize(static_cast<std::size_t>(data.output_frames_gen));
    return other;
}

void Sound::append(const Sound& more) {
    samples.insert(samples.end(), more.samples.begin(), more.samples.end());
}

double Sound::seconds() const {
    return static_cast<double>(samples.size()) / rate;
}

void Sound::write(const std::filesystem::path& path, int format, int channels) const {
    SF_INFO info{};
    info.format = format;
    info.samplerate = rate;
    info.channels = channels;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file) throw std::runtime_error("cannot write " + path.string());
    // Ogg Vorbis takes only so much at once.
    constexpr std::size_t atOnce = 4096;
    std::vector<float> frames;
    for (std::size_t at = 0; at < samples.size(); at += atOnce) {
        frames.clear();
        for (std::size_t i = at; i < std::min(at + atOnce, samples.size()); ++i)
            frames.insert(frames.end(), static_cast<std::size_t>(channels), samples[i]);
        sf_write_float(file, frames.data(), static_cast<sf_count_t>(frames.size()));
    }
    if (sf_close(file) != 0) throw std::runtime_error("cannot finish " + path.string());
}

void Sound::writeWav(const std::filesystem::path& path) const {
    write(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
}

} // namespace nimbe
