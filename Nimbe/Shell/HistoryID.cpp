#include "NimbeShell/HistoryID.h"

namespace nimbe {

std::optional<std::string> HistoryID::prefix(const std::string& text) {
    constexpr std::size_t shortest = 4;
    constexpr std::string_view form = "00000000-0000-0000-0000-000000000000";
    if (text.size() < shortest || text.size() > form.size()) return std::nullopt;
    std::string prefix;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto digit = std::string_view("0123456789abcdefABCDEF").find(text[i]);
        if ((form[i] == '-') != (text[i] == '-')) return std::nullopt;
        if (form[i] != '-' && digit == std::string_view::npos) return std::nullopt;
        const bool isLower = text[i] >= 'a';
        prefix += isLower ? static_cast<char>(text[i] - 'a' + 'A') : text[i];
    }
    return prefix;
}

std::string HistoryID::refusal(const std::string& text) {
    return "\"" + text + "\" is no id, nor at least four digits of one.";
}

void sayProblem(const HistoryProblem& problem, const char* verb, std::ostream& error) {
    using Kind = HistoryProblem::Kind;
    error << verb << ": " << problem.sentence << "\n";
    if (problem.kind == Kind::keyLocked)
        error << "Unlock it, for instance by logging in to the desktop, and try again.\n";
    if (problem.kind == Kind::keyUnavailable)
        error << "Nothing was changed. Without its key the history cannot be opened; it is in "
                 "the desktop's keyring\nor in a file beside the settings.\n";
}

} // namespace nimbe
