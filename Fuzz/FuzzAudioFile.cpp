#include <cstdint>
#include <fstream>

#include "Check.h"
#include "PlatformAudioFile/SndfileAudioFiles.h"
#include "Support/TemporaryFolder.h"

/// A recording holds any bytes: opening ends in an answer, reading in the end, and
/// damage is told once, before it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nimbe;
    static const TemporaryFolder folder;
    const auto path = folder.path / "recording";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

    SndfileAudioFiles files;
    const auto file = files.open(path);
    if (!file) {
        check(!file.error().message().empty(), "an error has words");
        return 0;
    }
    const auto format = (*file)->format();
    check(format.channels > 0 && format.sampleRate > 0, "what is opened has a format");
    std::vector<float> samples(1000 * format.channels);
    // Few bytes may hold long silence.
    constexpr std::size_t enough = 10'000'000;
    std::size_t read = 0;
    while (read < enough) {
        const auto count = (*file)->read(samples);
        if (!count) {
            const auto next = (*file)->read(samples);
            check(next && *next == 0, "damage is told once");
            break;
        }
        check(*count <= 1000, "no more than there is room for");
        if (*count == 0) break;
        read += *count * format.channels;
    }
    return 0;
}
