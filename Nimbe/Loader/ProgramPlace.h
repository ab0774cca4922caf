#pragma once

#include <filesystem>

namespace nimbe {

/// Where this program was started from, also when an update has replaced it since.
[[nodiscard]] std::filesystem::path executablePath();

/// What comes with the program, beside the folder of its executable; not absolute when
/// /proc does not tell.
[[nodiscard]] std::filesystem::path programFolder();

} // namespace nimbe
