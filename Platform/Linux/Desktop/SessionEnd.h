#pragma once

#include <functional>

#include "Foundation/MainActor.h"

namespace nimbe {

/// Posts `onEnd` once when the program is asked to end: by the end of the session, by
/// Ctrl+C or by a closed terminal. A second such signal ends it at once, as any does when
/// the token is dropped. One at a time in the process, and not beside another watch of
/// interrupts. Main thread.
[[nodiscard]] Token watchSessionEnd(MainActor& actor, std::function<void()> onEnd);

} // namespace nimbe
