#pragma once

#include <algorithm>

#include "Foundation/Date.h"

namespace nimbe {

/// When a partial answer is given next: not before the interval has passed, and so that
/// handling them takes at most a quarter of the time.
class PartialPacing {
public:
    explicit PartialPacing(Seconds interval) : interval(interval) {}

    /// Seconds from now; none: it may be given.
    [[nodiscard]] Seconds wait(Seconds now) const { return std::max(0.0, due - now); }
    /// One was given; that began and ended then.
    void given(Seconds began, Seconds ended) {
        due = ended + std::max(interval, 3 * (ended - began));
    }

private:
    Seconds interval;
    Seconds due = 0;
};

} // namespace nimbe
