#include "NimbeShell/GrowingText.h"

#include <algorithm>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

constexpr std::string_view eraseLine = "\r\x1B[K";

std::string_view withoutEnd(std::string_view text) {
    const auto last = text.find_last_not_of(" \t\n");
    return text.substr(0, last == text.npos ? 0 : last + 1);
}

} // namespace

std::string forTerminal(std::string_view utf8) {
    auto text = text::toUtf16(utf8).text;
    std::erase(text, u'\r');
    for (auto& c : text) {
        const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0);
        if (isControl && c != u'\n' && c != u'\t') c = 0xFFFD;
    }
    return text::toUtf8(text);
}

bool GrowingText::advance(const std::string& text) {
    if (text.starts_with(shown)) {
        output << std::string_view(text).substr(shown.size());
    } else {
        // Characters may be two columns wide.
        const auto width = 2 * text::characterCount(shown);
        const bool isShort = width < static_cast<std::size_t>(columns);
        if (!isShort || shown.find_first_of("\n\t") != shown.npos) return false;
        output << eraseLine << text;
    }
    output.flush();
    shown = text;
    return true;
}

void GrowingText::show(std::string_view text) {
    const auto next = forTerminal(text);
    (void)advance(std::string(withoutEnd(next)));
}

void GrowingText::finish(std::string_view text) {
    auto whole = forTerminal(text);
    if (!advance(whole)) output << "\n\n" << whole;
    if (!whole.ends_with('\n')) output << "\n";
    output.flush();
}

void GrowingText::abandon() {
    if (!shown.empty() && !shown.ends_with('\n')) output << "\n";
    output.flush();
}

void StatusLine::show(std::string_view text) {
    constexpr int narrowest = 20;
    if (columns < narrowest) return;
    // Other characters than those of ASCII may be two columns wide; the last column stays
    // free, since some terminals go on to the next line behind it.
    const bool isNarrow = std::all_of(text.begin(), text.end(), [](char c) { return c > 0; });
    const int most = isNarrow ? columns - 1 : columns / 2;
    auto next = text::ending(text, static_cast<std::size_t>(most));
    if (next == shown) return;
    shown = std::move(next);
    output << "\r" << shown << "\x1B[K" << std::flush;
}

void StatusLine::clear() {
    if (shown.empty()) return;
    shown.clear();
    output << eraseLine << std::flush;
}

} // namespace nimbe
