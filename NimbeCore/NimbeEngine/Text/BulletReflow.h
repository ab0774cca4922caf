#pragma once

#include <string>
#include <string_view>

namespace nimbe {

/// Puts the points of a list on lines of their own.
struct BulletReflow {
    /// Only a text that begins with a list marker ("- ", "3. ", "3) ") is touched:
    /// a marker behind sentence punctuation starts a line, repeated dashes become
    /// one, "3)" becomes "3.". Any other text comes back as given, untrimmed.
    [[nodiscard]] static std::string reflow(std::string_view text);
};

} // namespace nimbe
