#pragma once

#include <functional>

#include "Foundation/MainActor.h"

namespace nimbe {

/// Posts `onEnd` once when a line end, the end of standard input, or an interrupt
/// (Ctrl+C, SIGTERM, a closed terminal) comes. A second interrupt ends the program, as
/// any does once the token is dropped. A terminal does not show what is typed meanwhile.
[[nodiscard]] Token watchEndOfInput(MainActor& actor, std::function<void()> onEnd);

} // namespace nimbe
