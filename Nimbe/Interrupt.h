#pragma once

namespace nimbe::interrupt {

/// From now on the first interrupt (Ctrl+C, SIGTERM, a closed terminal) is only noted;
/// a second one ends the program.
void watch();

[[nodiscard]] bool hasCome();

} // namespace nimbe::interrupt
