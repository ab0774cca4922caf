#pragma once

#include <string>
#include <string_view>

#include "Foundation/Regex.h"
#include "NimbeEngine/Text/Candidates.h"

namespace nimbe {

/// One replacement of all matches, left to right.
///
/// The result is that of the pattern alone. The scan only says where a match
/// could begin, so that the pattern engine, which takes 50 to 300 ns for each
/// place it tries, is not asked about all the others, nor once more about every
/// blank of a run that it has already refused.
class TextRule {
public:
    struct Definition {
        std::u16string_view pattern;
        Regex::Case letterCase = Regex::Case::sensitive;
        std::u16string_view replacement;
        CandidateScan scan = nullptr;
    };

    explicit TextRule(const Definition& definition);

    /// Past the engine's limits the text stays as it is.
    void apply(std::u16string& text) const;

    const Definition definition;

private:
    Regex regex;
    Replacement replacement;
};

} // namespace nimbe
