#pragma once

#include <functional>

#include "Foundation/MainActor.h"

namespace nimbe::interrupt {

/// From now on the first interrupt (Ctrl+C, SIGTERM, a closed terminal) is only noted;
/// a second one ends the program.
void watch();

[[nodiscard]] bool hasCome();

/// Posts `onInterrupt` once, when an interrupt comes. A second one ends the program, as any
/// does once the token is dropped. In place of watch(): one at a time in the process.
[[nodiscard]] Token observe(MainActor& actor, std::function<void()> onInterrupt);

} // namespace nimbe::interrupt
