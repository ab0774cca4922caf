#include "NimbeKitCore/DictationMode.h"

namespace nimbe {

std::string_view rawValue(DictationMode mode) {
    switch (mode) {
    case DictationMode::messaging: return "messaging";
    case DictationMode::email: return "email";
    case DictationMode::notes: return "notes";
    case DictationMode::coding: return "coding";
    }
    return {};
}

std::optional<DictationMode> dictationMode(std::string_view raw) {
    for (const auto mode : allDictationModes)
        if (rawValue(mode) == raw) return mode;
    return std::nullopt;
}

} // namespace nimbe
