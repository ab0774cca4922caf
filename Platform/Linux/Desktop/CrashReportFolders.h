#pragma once

#include <filesystem>
#include <vector>

#include "NimbeApp/CrashReports.h"

namespace nimbe {

/// Where systemd-coredump and Apport keep what they know of crashes of this program, which
/// is at `program`, and how the names of their files begin. The folders need not be there.
[[nodiscard]] std::vector<CrashReportFolder> crashReportFolders(
    const std::filesystem::path& program);

} // namespace nimbe
