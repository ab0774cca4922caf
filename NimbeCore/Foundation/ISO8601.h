#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace nimbe {

/// The internet date-time form of ISO 8601 (RFC 3339 without fractions):
/// "2026-03-07T21:48:30Z".
namespace iso8601 {

/// In UTC, the fraction of a second dropped. Years outside 0000 to 9999 have no
/// such form and are held at its ends.
[[nodiscard]] std::string format(Date date);
/// The same behind what is there.
void append(std::string& to, Date date);

/// Accepts Z, +hh:mm and +hhmm as the zone. Absent for everything else: other
/// lengths, fractions, days that do not exist, 24:00 and leap seconds.
[[nodiscard]] std::optional<Date> parse(std::string_view text);

} // namespace iso8601
} // namespace nimbe
