#include "Sound.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <numeric>
#include <samplerate.h>
#include <sndfile.h>
#include <sstream>
#include <stdexcept>
#include <utility>

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

std::vector<BookRecording> BookRecording::all() {
    const std::filesystem::path folder = "/usr/share/pocketsphinx/test/data/librivox";
    std::ifstream lines(folder / "transcription");
    std::vector<BookRecording> all;
    // <s> the words </s> (name)
    for (std::string line; std::getline(lines, line);) {
        const auto end = line.find(" </s> (");
        if (!line.starts_with("<s> ") || end == line.npos) continue;
        const auto name = line.substr(end + 7, line.rfind(')') - end - 7);
        all.push_back({folder / (name + ".wav"), wordsOf(line.substr(4, end - 4))});
    }
    if (all.size() != 5) throw std::runtime_error("pocketsphinx-testdata is not installed");
    return all;
}

std::vector<std::string> wordsOf(std::string_view text) {
    std::string plain;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0 || c == '\'')
            plain += static_cast<char>(std::tolower(byte));
        else if (c != '.' && c != ',')
            plain += ' ';
    }
    std::istringstream stream(plain);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word == "mr" ? "mister" : word);
    return words;
}

std::size_t wordErrors(
    const std::vector<std::string>& heard, const std::vector<std::string>& said) {
    std::vector<std::size_t> row(said.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < heard.size(); ++i) {
        auto diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < said.size(); ++j) {
            const auto replaced = diagonal + (heard[i] == said[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

} // namespace nimbe
