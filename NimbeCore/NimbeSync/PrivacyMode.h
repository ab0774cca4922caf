#pragma once

#include <string_view>

namespace nimbe {

/// Whether what is kept may be mirrored, sealed end to end, to the user's private cloud.
enum class PrivacyMode { localOnly, privateICloudSync };

[[nodiscard]] std::string_view rawValue(PrivacyMode mode);
/// As it is shown.
[[nodiscard]] std::string_view title(PrivacyMode mode);

/// Sync is on unless the user has chosen otherwise: only "localOnly" itself is that.
[[nodiscard]] PrivacyMode privacyMode(std::string_view rawValue);

} // namespace nimbe
