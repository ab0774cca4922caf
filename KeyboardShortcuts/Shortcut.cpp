#include "KeyboardShortcuts/Shortcut.h"

#include <array>
#include <utility>

namespace nimbe {
namespace {

struct Modifier {
    std::string_view name;
    bool Shortcut::*field;
};

constexpr std::array modifiers{Modifier{"Ctrl", &Shortcut::control},
    Modifier{"Alt", &Shortcut::option}, Modifier{"Shift", &Shortcut::shift},
    Modifier{"Super", &Shortcut::command}};

/// What stands on keys whose keysym is called otherwise. Letters are handled apart.
constexpr std::pair<std::string_view, std::string_view> labels[] = {{"BackSpace", "Backspace"},
    {"Escape", "Esc"}, {"Next", "Page Down"}, {"Prior", "Page Up"}, {"Return", "Enter"},
    {"Scroll_Lock", "Scroll Lock"}, {"adiaeresis", "Ä"}, {"ae", "Æ"}, {"agrave", "À"},
    {"apostrophe", "'"}, {"aring", "Å"}, {"asciicircum", "^"}, {"backslash", "\\"},
    {"bracketleft", "["}, {"bracketright", "]"}, {"ccedilla", "Ç"}, {"comma", ","}, {"eacute", "É"},
    {"egrave", "È"}, {"equal", "="}, {"grave", "`"}, {"less", "<"}, {"minus", "-"}, {"ntilde", "Ñ"},
    {"numbersign", "#"}, {"odiaeresis", "Ö"}, {"oslash", "Ø"}, {"period", "."}, {"plus", "+"},
    {"semicolon", ";"}, {"slash", "/"}, {"space", "Space"}, {"ssharp", "ß"}, {"udiaeresis", "Ü"}};

// The longest names of keysyms have thirty characters.
constexpr std::size_t longestKey = 64;

} // namespace

std::string Shortcut::text() const {
    std::string result;
    for (const auto& modifier : modifiers)
        if (this->*modifier.field) result += std::string(modifier.name) + "+";
    return result + key;
}

std::optional<Shortcut> Shortcut::parse(std::string_view text) {
    Shortcut shortcut;
    for (const auto& modifier : modifiers) {
        const auto length = modifier.name.size();
        if (!text.starts_with(modifier.name) || text.size() <= length || text[length] != '+')
            continue;
        shortcut.*modifier.field = true;
        text.remove_prefix(length + 1);
    }
    const auto isNameByte = [](char byte) {
        return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
               (byte >= '0' && byte <= '9') || byte == '_';
    };
    if (text.empty() || text.size() > longestKey) return std::nullopt;
    for (const char byte : text)
        if (!isNameByte(byte)) return std::nullopt;
    shortcut.key = text;
    return shortcut;
}

std::string Shortcut::displayName() const {
    std::string result;
    for (const auto& modifier : modifiers)
        if (this->*modifier.field) result += std::string(modifier.name) + " + ";
    if (key.size() == 1 && key[0] >= 'a' && key[0] <= 'z')
        return result + static_cast<char>(key[0] - 'a' + 'A');
    for (const auto& [name, label] : labels)
        if (key == name) return result + std::string(label);
    return result + key;
}

} // namespace nimbe
