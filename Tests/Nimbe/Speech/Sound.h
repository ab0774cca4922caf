#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace nimbe {

/// Sound of one channel, for a test to change and to write.
struct Sound {
    std::vector<float> samples = {};
    int rate = 16'000;

    [[nodiscard]] static Sound read(const std::filesystem::path& path);
    [[nodiscard]] static Sound silence(double seconds);

    /// Also at another rate.
    [[nodiscard]] Sound at(int otherRate) const;
    void append(const Sound& more);
    [[nodiscard]] double seconds() const;

    /// `format` as libsndfile names it, the same sound in all channels. Throws when that
    /// fails.
    void write(const std::filesystem::path& path, int format, int channels = 1) const;
    void writeWav(const std::filesystem::path& path) const;
};

/// Somebody reads from a book, and the words that were written down for it.
struct BookRecording {
    std::filesystem::path path;
    std::vector<std::string> words;

    /// Five sentences of "Sense and Sensibility", of Debian's pocketsphinx-testdata. The
    /// fourth one's words have a stutter, "a more a amiable woman".
    [[nodiscard]] static std::vector<BookRecording> all();
};

/// In lower case, without punctuation, "Mr." written out.
[[nodiscard]] std::vector<std::string> wordsOf(std::string_view text);

/// Words to insert, leave out or replace until both are the same.
[[nodiscard]] std::size_t wordErrors(
    const std::vector<std::string>& heard, const std::vector<std::string>& said);

} // namespace nimbe
