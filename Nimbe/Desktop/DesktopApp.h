#pragma once

#include "NimbeApp/DesktopModule.h"
#include "PlatformStorage/DataFolders.h"

namespace nimbe {

/// The application, from its start to its end; the exit status. A second one of the same
/// user and session tells the first to show itself, and ends with 0.
[[nodiscard]] int runDesktopApp(const DesktopModule::Launch& launch, DataFolders folders);

} // namespace nimbe
