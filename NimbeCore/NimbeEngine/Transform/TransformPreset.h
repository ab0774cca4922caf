#pragma once

#include <array>
#include <string>
#include <string_view>
#include <variant>

namespace nimbe {

/// The ways to reshape a note that are offered by name.
enum class TransformPreset { email, bullets, shorter };

inline constexpr std::array allTransformPresets{
    TransformPreset::email, TransformPreset::bullets, TransformPreset::shorter};

/// Also its key in the table of prompts.
[[nodiscard]] std::string_view rawValue(TransformPreset preset);
/// What it does, as the user may read it.
[[nodiscard]] std::string_view instruction(TransformPreset preset);
/// Of its button's symbol.
[[nodiscard]] std::string_view symbolName(TransformPreset preset);

/// Mends spelling, grammar and punctuation, and nothing else.
struct FixTransform {
    static constexpr std::string_view instruction =
        "Fix spelling, grammar, and punctuation only. Keep the exact wording and tone "
        "otherwise; do not rephrase or shorten. Do not add anything.";
    static constexpr std::string_view symbolName = "checkmark.circle";

    friend bool operator==(const FixTransform&, const FixTransform&) = default;
};

/// The user's own instruction.
struct CustomTransform {
    std::string instruction;

    friend bool operator==(const CustomTransform&, const CustomTransform&) = default;
};

/// One way to reshape a note.
using NoteTransform = std::variant<TransformPreset, FixTransform, CustomTransform>;

} // namespace nimbe
