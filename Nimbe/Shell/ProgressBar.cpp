#include "NimbeShell/ProgressBar.h"

#include <algorithm>
#include <ostream>

#include "Foundation/Text.h"

namespace nimbe {

std::string ProgressBar::line(int percent, const std::string& amount) const {
    constexpr int longest = 40;
    constexpr int shortest = 10;
    const auto words = std::to_string(percent) + " %, " + amount;
    // What stands around the bar, which keeps its width up to 100 %.
    const auto taken = text::characterCount(name) + text::characterCount(" [] 100 %, " + amount);
    // One is left free: some terminals break the line when the last is written.
    const int width = std::min(columns - 1 - static_cast<int>(taken), longest);
    if (width >= shortest) {
        const auto filled = static_cast<std::size_t>(percent * width / 100);
        return name + " [" + std::string(filled, '#') +
               std::string(static_cast<std::size_t>(width) - filled, ' ') + "] " + words;
    }
    const int room = columns - 2 - static_cast<int>(text::characterCount(words));
    const auto shown =
        room > 2 ? text::onOneLine(name, static_cast<std::size_t>(room - 2)) + " " : std::string();
    return shown + text::onOneLine(words, static_cast<std::size_t>(std::max(columns - 2, 1)));
}

void ProgressBar::show(double part, const std::string& amount) {
    const int percent = static_cast<int>(std::clamp(part, 0.0, 1.0) * 100);
    const int tenth = percent / 10;
    if (form == Form::bar && percent != lastPercent) {
        // Over the line before, in which an earlier, longer text may stand. What comes
        // next, a prompt after Ctrl+C, begins a line of its own.
        output << (lastPercent >= 0 ? "\x1B[A" : "") << "\r" << line(percent, amount) << "\x1B[K"
               << std::endl;
    }
    if (form == Form::lines && tenth > lastTenth)
        output << name << ": " << percent << " %, " << amount << std::endl;
    lastPercent = percent;
    lastTenth = tenth;
}

} // namespace nimbe
