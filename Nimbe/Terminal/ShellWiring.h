#pragma once

#include <memory>

#include "NimbeShell/ShellServices.h"

namespace nimbe {

/// The shell verbs' mode, put together from this platform's adapters.
[[nodiscard]] std::unique_ptr<ShellServices> makeShellServices();

} // namespace nimbe
