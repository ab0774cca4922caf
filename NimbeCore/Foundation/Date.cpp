#include "Foundation/Date.h"

#include <chrono>

namespace nimbe {

Date Date::now() {
    const auto sinceUnix = std::chrono::system_clock::now().time_since_epoch();
    return fromUnix(std::chrono::duration<Seconds>(sinceUnix).count());
}

} // namespace nimbe
