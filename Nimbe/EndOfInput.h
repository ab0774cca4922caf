#pragma once

#include <functional>

#include "Foundation/MainActor.h"

namespace nimbe {

/// Posts `onEnd` once when a line end, the end of standard input, or an interrupt
/// (Ctrl+C, SIGTERM) comes. Until the token is dropped; an interrupt then ends the
/// program again.
[[nodiscard]] Token watchEndOfInput(MainActor& actor, std::function<void()> onEnd);

} // namespace nimbe
