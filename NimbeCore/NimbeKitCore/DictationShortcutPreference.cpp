#include "NimbeKitCore/DictationShortcutPreference.h"

namespace nimbe {

std::string_view displayName(DictationShortcutPreference preference) {
    switch (preference) {
    case DictationShortcutPreference::option: return "⌥ Option";
    case DictationShortcutPreference::custom: return "Custom Shortcut";
    }
    return {};
}

} // namespace nimbe
