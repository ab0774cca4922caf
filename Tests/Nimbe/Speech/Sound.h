#pragma once

#include <filesystem>
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

} // namespace nimbe
