#include "QuietLog.h"

#include <utility>

namespace nimbe {

void QuietLog::write(LogLevel level, std::string_view /*category*/, std::string_view line) {
    if (level >= LogLevel::warning && first.empty()) first = line;
}

std::string QuietLog::take() {
    return std::exchange(first, {});
}

} // namespace nimbe
