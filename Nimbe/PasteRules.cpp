#include "NimbeApp/PasteRules.h"

#include <algorithm>
#include <array>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

/// Terminals whose own documents or defaults give Control+Shift+V for pasting; docs/settings.md
/// lists them for users. Those on VTE paste the selection with Shift+Insert.
constexpr std::array<std::string_view, 24> controlShiftV{
    "Alacritty",
    "com.mitchellh.ghostty",
    "cool-retro-term",
    "foot",
    "footclient",
    "Gnome-terminal",
    "Guake",
    "kgx",
    "kitty",
    "konsole",
    "Lxterminal",
    "Mate-terminal",
    "org.gnome.Console",
    "org.gnome.Ptyxis",
    "org.kde.konsole",
    "org.wezfurlong.wezterm",
    "qterminal",
    "Sakura",
    "Terminator",
    "terminology",
    "Tilda",
    "Tilix",
    "Xfce4-terminal",
    "yakuake",
};

/// Those that paste the selection, with Shift+Insert.
constexpr std::array<std::string_view, 5> shiftInsert{
    "Rxvt",
    "st-256color",
    "URxvt",
    "UXTerm",
    "XTerm",
};

struct NamedChord {
    std::string_view name;
    PasteChord chord;
};
constexpr std::array chords{NamedChord{"standard", PasteChord::standard},
    NamedChord{"terminal", PasteChord::terminal}, NamedChord{"insert", PasteChord::insert}};

bool areSame(std::string_view left, std::string_view right) {
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
        [&](char a, char b) { return lower(a) == lower(b); });
}

template <typename Classes>
bool contains(const Classes& classes, std::string_view windowClass) {
    return std::any_of(classes.begin(), classes.end(),
        [&](std::string_view known) { return areSame(known, windowClass); });
}

PasteRules::Rule ruleOf(PasteChord chord) {
    return {chord, chord != PasteChord::standard};
}

} // namespace

std::optional<PasteRules::Own> PasteRules::parse(std::string_view entry) {
    const auto equals = entry.rfind('=');
    Own own;
    own.windowClass = text::trimmed(entry.substr(0, equals));
    if (own.windowClass.empty()) return std::nullopt;
    if (equals == entry.npos) return own;
    const auto name = text::trimmed(entry.substr(equals + 1));
    const auto* const chord = std::find_if(
        chords.begin(), chords.end(), [&](const auto& known) { return areSame(known.name, name); });
    if (chord == chords.end()) return std::nullopt;
    own.chord = chord->chord;
    return own;
}

PasteRules::Rule PasteRules::rule(
    std::string_view windowClass, const std::vector<std::string>& own) {
    for (const auto& entry : own)
        if (const auto parsed = parse(entry); parsed && areSame(parsed->windowClass, windowClass))
            return ruleOf(parsed->chord);
    if (contains(controlShiftV, windowClass)) return ruleOf(PasteChord::terminal);
    if (contains(shiftInsert, windowClass)) return ruleOf(PasteChord::insert);
    return ruleOf(PasteChord::standard);
}

} // namespace nimbe
