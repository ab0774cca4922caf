#pragma once

#include <string>

#include "Foundation/Result.h"
#include "NimbeApp/BusModule.h"

namespace nimbe {

/// What goes over the session bus. An error is for the log.
[[nodiscard]] Result<BusModule*, std::string> busModule();

} // namespace nimbe
