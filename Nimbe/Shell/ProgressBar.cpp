#include "NimbeShell/ProgressBar.h"

#include <algorithm>
#include <ostream>

namespace nimbe {

void ProgressBar::show(double part, const std::string& amount) {
    const int percent = static_cast<int>(std::clamp(part, 0.0, 1.0) * 100);
    const int tenth = percent / 10;
    if (form == Form::bar && percent != lastPercent) {
        constexpr int width = 40; // with the words around it under 80 columns
        const auto filled = static_cast<std::size_t>(percent * width / 100);
        // Over the line before, in which an earlier, longer text may stand. What comes
        // next, a prompt after Ctrl+C, begins a line of its own.
        output << (lastPercent >= 0 ? "\x1B[A" : "") << "\r" << name << " ["
               << std::string(filled, '#') << std::string(width - filled, ' ') << "] " << percent
               << " %, " << amount << "\x1B[K" << std::endl;
    }
    if (form == Form::lines && tenth > lastTenth)
        output << name << ": " << percent << " %, " << amount << std::endl;
    lastPercent = percent;
    lastTenth = tenth;
}

} // namespace nimbe
