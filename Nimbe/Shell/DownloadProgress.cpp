#include "NimbeShell/DownloadProgress.h"

#include <algorithm>
#include <array>
#include <ostream>

namespace nimbe {

void DownloadProgress::show(SpeechModels::Progress progress) {
    if (progress.total == 0) return;
    const auto done = std::min(progress.done, progress.total);
    const auto percent = static_cast<int>(done * 100 / progress.total);
    const auto amount = sizeText(done) + " of " + sizeText(progress.total);
    if (form == Form::bar) {
        constexpr int width = 40; // with the words around it under 80 columns
        const auto filled = static_cast<std::size_t>(percent * width / 100);
        // The cursor waits on the next line: whatever else is written then, or the shell
        // after Ctrl+C, begins a line of its own.
        output << (hasDrawn ? "\x1B[A" : "") << "\r" << name << " [" << std::string(filled, '#')
               << std::string(width - filled, ' ') << "] " << percent << " %, " << amount
               << "\x1B[K" << std::endl;
        hasDrawn = true;
        return;
    }
    const int tenth = percent / 10;
    if (tenth > lastTenth) output << name << ": " << percent << " %, " << amount << std::endl;
    lastTenth = tenth;
}

std::string sizeText(std::uint64_t bytes) {
    constexpr std::array units{"bytes", "kB", "MB", "GB"};
    std::size_t unit = 0;
    std::uint64_t one = 1;
    // Rounded: 999,500 bytes are a megabyte.
    while (unit + 1 < units.size() && (bytes + one / 2) / one >= 1000) {
        one *= 1000;
        ++unit;
    }
    return std::to_string((bytes + one / 2) / one) + " " + units.at(unit);
}

} // namespace nimbe
