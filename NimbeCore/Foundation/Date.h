#pragma once

#include <compare>

namespace nimbe {

/// A duration. Time constants are seconds everywhere.
using Seconds = double;

/// A moment on the system clock, which the user and the network may set back:
/// for stamps that are shown or stored, never for timers (see MainActor::now).
///
/// Counted from 2001-01-01 00:00:00 UTC, the epoch of the stored history, so
/// that a stored fraction comes back bit for bit. A double holds a moment of
/// this century to 0.1 microseconds.
struct Date {
    Seconds sinceReference = 0;

    /// Seconds from 1970-01-01 to 2001-01-01, both 00:00:00 UTC.
    static constexpr Seconds unixToReference = 978307200;

    [[nodiscard]] static Date now();
    [[nodiscard]] static constexpr Date fromUnix(Seconds seconds) {
        return {seconds - unixToReference};
    }
    [[nodiscard]] constexpr Seconds unixSeconds() const { return sinceReference + unixToReference; }

    /// Negative when `earlier` is in fact later.
    [[nodiscard]] constexpr Seconds since(Date earlier) const {
        return sinceReference - earlier.sinceReference;
    }

    friend constexpr Date operator+(Date date, Seconds seconds) {
        return {date.sinceReference + seconds};
    }
    friend constexpr Date operator-(Date date, Seconds seconds) {
        return {date.sinceReference - seconds};
    }
    // clang-tidy 14 takes the comparison's own zero for a null pointer.
    friend constexpr auto operator<=>(Date, Date) = default; // NOLINT(modernize-use-nullptr)
};

} // namespace nimbe
