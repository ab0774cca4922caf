#pragma once

#include "NimbeApp/AppSettings.h"

namespace nimbe {

/// The settings of what is seen; the shell's verbs know them too.
using UISettings = AppSettings;

} // namespace nimbe
