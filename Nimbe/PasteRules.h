#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/UserDefaults.h"
#include "NimbeApp/KeyPoster.h"

namespace nimbe {

/// How each program pastes, by the class of its windows (WM_CLASS, its second part).
struct PasteRules {
    struct Rule {
        PasteChord chord = PasteChord::standard;
        bool needsSelection = false; // it may paste the selection instead of the clipboard

        friend bool operator==(const Rule&, const Rule&) = default;
    };

    /// The user's own, each "CLASS" or "CLASS=CHORD" with a chord of "standard",
    /// "terminal" (the one meant when there is none) or "insert". They come before ours,
    /// the first one that fits before the others.
    inline static const Setting<std::vector<std::string>> own{"pasteRules"};

    /// Upper and lower case of ASCII letters are the same. What parse refuses counts for
    /// nothing.
    [[nodiscard]] static Rule rule(
        std::string_view windowClass, const std::vector<std::string>& own);

    struct Own {
        std::string windowClass;
        PasteChord chord = PasteChord::terminal;

        friend bool operator==(const Own&, const Own&) = default;
    };
    /// Absent for an entry without a class or with another chord.
    [[nodiscard]] static std::optional<Own> parse(std::string_view entry);
};

} // namespace nimbe
