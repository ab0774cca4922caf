#pragma once

#include <string_view>

namespace nimbe {

/// Which trigger the user chose. Both keep the same hold, release and double-tap
/// behaviour.
enum class DictationShortcutPreference {
    option, // hold the Option key alone; the default
    custom  // a recorded chord
};

[[nodiscard]] constexpr bool isCustom(DictationShortcutPreference preference) {
    return preference == DictationShortcutPreference::custom;
}

[[nodiscard]] std::string_view displayName(DictationShortcutPreference preference);

} // namespace nimbe
