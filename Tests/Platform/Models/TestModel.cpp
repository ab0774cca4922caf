#include "TestModel.h"

#include <fstream>
#include <iterator>
#include <openssl/sha.h>
#include <random>

namespace nimbe {
namespace {

std::string someBytes(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() & 0xFF);
    return bytes;
}

/// By the library's one-call interface, which the program does not use.
std::string sha256(const std::string& bytes) {
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest.data());
    std::string text;
    for (const unsigned char byte : digest) {
        text += "0123456789abcdef"[byte / 16];
        text += "0123456789abcdef"[byte % 16];
    }
    return text;
}

} // namespace

TestModel::TestModel()
    : contents{
          someBytes(300'000, 1), someBytes(700'001, 2), someBytes(20'000, 3), someBytes(1, 4)} {
    constexpr std::array names{SpeechModel::encoder, SpeechModel::decoder, SpeechModel::tokens,
        SpeechModel::voiceDetector};
    model = SpeechModel{"test", "A test", "test-model-en", "en-US", {}};
    for (std::size_t i = 0; i < names.size(); ++i) {
        digests[i] = sha256(contents[i]);
        model.files[i] = {names[i], contents[i].size(), digests[i]};
    }
}

void TestModel::writeTo(const std::filesystem::path& folder) const {
    for (std::size_t i = 0; i < contents.size(); ++i)
        writeFile(folder / model.files[i].name, contents[i]);
}

std::string readFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void writeFile(const std::filesystem::path& file, const std::string& content) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

} // namespace nimbe
