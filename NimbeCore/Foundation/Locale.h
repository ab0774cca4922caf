#pragma once

#include <string>

namespace nimbe {

/// A language and region with its customs, as ICU names it: "de_DE",
/// "th_TH@calendar=buddhist".
struct Locale {
    std::string identifier;

    /// The environment's LC_ALL, LC_TIME (or LC_CTYPE) and LANG, the first that is
    /// set; "en_US_POSIX" for "C" and when none is.
    [[nodiscard]] static Locale forTime();
    [[nodiscard]] static Locale forText();

    /// "de" of "de_DE".
    [[nodiscard]] std::string language() const {
        return identifier.substr(0, identifier.find_first_of("_-@"));
    }

    friend bool operator==(const Locale&, const Locale&) = default;
};

} // namespace nimbe
