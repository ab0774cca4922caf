#include "Support/RecordedSpeech.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "Support/WordErrors.h"

namespace nimbe {
namespace {

/// Of a file with lines "<s> what is said </s> (name of the recording)".
std::vector<RecordedSpeech> listed(const std::filesystem::path& folder, const char* list) {
    std::ifstream stream(folder / list);
    std::vector<RecordedSpeech> all;
    for (std::string line; std::getline(stream, line);) {
        const auto name = line.rfind('(');
        const auto end = line.rfind(')');
        if (name == line.npos || end == line.npos) continue;
        auto said = line.substr(0, name);
        for (const char* mark : {"<s>", "</s>"})
            if (const auto at = said.find(mark); at != said.npos)
                said.erase(at, std::char_traits<char>::length(mark));
        const auto file = line.substr(name + 1, end - name - 1) + ".wav";
        all.push_back({folder / file, said, wordsOf(said)});
    }
    if (all.empty()) throw std::runtime_error("no recordings in " + folder.string());
    return all;
}

const std::filesystem::path root = "/usr/share/pocketsphinx/test/data";

} // namespace

std::vector<RecordedSpeech> RecordedSpeech::sentences() {
    return listed(root / "librivox", "transcription");
}

std::vector<RecordedSpeech> RecordedSpeech::phrases() {
    return listed(root / "cards", "cards.transcription");
}

std::vector<float> RecordedSpeech::samples() const {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(stream), {});
    constexpr std::size_t header = 44;
    std::vector<float> samples;
    for (std::size_t at = header; at + 1 < bytes.size(); at += 2) {
        const auto low = static_cast<std::uint8_t>(bytes[at]);
        const auto high = static_cast<std::uint8_t>(bytes[at + 1]);
        const auto value = static_cast<std::int16_t>(low | high << 8);
        samples.push_back(static_cast<float>(value) / 32768.0F);
    }
    return samples;
}

} // namespace nimbe
