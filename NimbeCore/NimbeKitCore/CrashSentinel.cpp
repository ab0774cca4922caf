#include "NimbeKitCore/CrashSentinel.h"

#include <cstdlib>
#include <limits>

namespace nimbe {

CrashSentinel::LaunchAssessment CrashSentinel::assess(bool unclean, std::int64_t priorCount) {
    if (!unclean) return {};
    if (priorCount == std::numeric_limits<std::int64_t>::max()) std::abort();
    const auto count = priorCount + 1;
    return {true, count, count > 1};
}

} // namespace nimbe
