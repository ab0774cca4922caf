#pragma once

#include <charconv>
#include <optional>
#include <string_view>

#include "Foundation/Date.h"
#include "Foundation/UserDefaults.h"

namespace nimbe {

/// Which language model is asked, and for how long.
struct LanguageModelSettings {
    /// "http://127.0.0.1:11434", also with the "/v1" that such addresses are often given
    /// with; none: the usual ports of this machine are tried.
    inline static const Setting<std::string> address{"languageModelAddress"};
    /// Addresses of other machines are asked too. What is dictated leaves this one then.
    inline static const Setting<bool> allowsOtherHosts{"languageModelAllowsOtherHosts", false};
    /// As the server lists it; none: the one that is loaded, or its first.
    inline static const Setting<std::string> name{"languageModelName"};
    /// Whole seconds that a dictation waits for its polished text.
    inline static const Setting<std::string> deadline{"languageModelDeadline", "8"};

    static constexpr int shortestDeadline = 1;
    static constexpr int longestDeadline = 120;

    /// Absent: no whole number within these bounds.
    [[nodiscard]] static std::optional<Seconds> parseDeadline(std::string_view text) {
        int seconds = 0;
        const auto* end = text.data() + text.size();
        const auto [last, error] = std::from_chars(text.data(), end, seconds);
        if (error != std::errc() || last != end) return std::nullopt;
        if (seconds < shortestDeadline || seconds > longestDeadline) return std::nullopt;
        return Seconds(seconds);
    }
    [[nodiscard]] static Seconds deadlineIn(UserDefaults& defaults) {
        return parseDeadline(defaults.get(deadline)).value_or(8);
    }
};

} // namespace nimbe
