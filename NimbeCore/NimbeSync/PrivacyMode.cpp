#include "NimbeSync/PrivacyMode.h"

namespace nimbe {

std::string_view rawValue(PrivacyMode mode) {
    switch (mode) {
    case PrivacyMode::localOnly: return "localOnly";
    case PrivacyMode::privateICloudSync: return "privateICloudSync";
    }
    return {};
}

std::string_view title(PrivacyMode mode) {
    switch (mode) {
    case PrivacyMode::localOnly: return "Local only";
    case PrivacyMode::privateICloudSync: return "Private iCloud sync";
    }
    return {};
}

PrivacyMode privacyMode(std::string_view rawValue) {
    return rawValue == "localOnly" ? PrivacyMode::localOnly : PrivacyMode::privateICloudSync;
}

} // namespace nimbe
