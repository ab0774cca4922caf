#pragma once

#include <filesystem>
#include <string>

#include "Foundation/Result.h"
#include "NimbeApp/HearingModule.h"

namespace nimbe {

/// Loads the module for the rest of the process. An error is for the log.
[[nodiscard]] Result<HearingModule*, std::string> loadHearing(const std::filesystem::path& library);

} // namespace nimbe
