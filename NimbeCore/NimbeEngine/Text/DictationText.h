#pragma once

#include <string>
#include <string_view>

namespace nimbe {

/// The finished text of a dictation when AI cleanup is off, the same for every
/// mode: spoken commands, then fillers. The app keeps the recogniser's case.
///
/// Time and memory grow linearly with the text; see Benchmarks.
[[nodiscard]] std::string finishedWithoutCleanup(std::string_view raw, bool preserveCase = true);

} // namespace nimbe
