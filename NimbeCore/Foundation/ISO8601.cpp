#include "Foundation/ISO8601.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace nimbe::iso8601 {
namespace {

// 0000-01-01T00:00:00Z and 9999-12-31T23:59:59Z.
constexpr double firstUnixSecond = -62167219200.0;
constexpr double lastUnixSecond = 253402300799.0;

/// A field of decimal digits within [low, high], read off the front of `text`.
bool takeNumber(std::string_view& text, std::size_t digits, int low, int high, int& number) {
    if (text.size() < digits) return false;
    number = 0;
    for (const char c : text.substr(0, digits)) {
        if (c < '0' || c > '9') return false;
        number = number * 10 + (c - '0');
    }
    text.remove_prefix(digits);
    return number >= low && number <= high;
}

bool takeSymbol(std::string_view& text, char symbol) {
    if (text.empty() || text.front() != symbol) return false;
    text.remove_prefix(1);
    return true;
}

/// Seconds east of UTC; consumes the whole rest.
std::optional<int> takeZone(std::string_view text) {
    if (takeSymbol(text, 'Z')) return text.empty() ? std::optional<int>(0) : std::nullopt;
    const bool west = !text.empty() && text.front() == '-';
    if (!west && (text.empty() || text.front() != '+')) return std::nullopt;
    text.remove_prefix(1);
    int hours = 0;
    int minutes = 0;
    if (!takeNumber(text, 2, 0, 23, hours)) return std::nullopt;
    takeSymbol(text, ':');
    if (!takeNumber(text, 2, 0, 59, minutes) || !text.empty()) return std::nullopt;
    const int seconds = hours * 3600 + minutes * 60;
    return west ? -seconds : seconds;
}

/// In so many decimal digits. By hand: std::snprintf takes a sixth of a call that lists.
void putNumber(std::string& text, std::size_t at, std::size_t digits, int number) {
    for (std::size_t i = at + digits; i > at; number /= 10)
        text[--i] = static_cast<char>('0' + number % 10);
}

} // namespace

std::string format(Date date) {
    std::string text;
    append(text, date);
    return text;
}

void append(std::string& to, Date date) {
    const double seconds = std::floor(date.unixSeconds());
    const double held = std::clamp(seconds, firstUnixSecond, lastUnixSecond);
    // A NaN passes through clamp; it has no moment, the epoch stands for it.
    const auto whole = std::chrono::seconds(std::isnan(held) ? 0 : static_cast<long long>(held));
    const auto day = std::chrono::floor<std::chrono::days>(whole);
    const std::chrono::year_month_day calendar{std::chrono::sys_days(day)};
    const std::chrono::hh_mm_ss<std::chrono::seconds> clock(whole - day);

    const auto at = to.size();
    to += "0000-00-00T00:00:00Z";
    putNumber(to, at, 4, static_cast<int>(calendar.year()));
    putNumber(to, at + 5, 2, static_cast<int>(static_cast<unsigned>(calendar.month())));
    putNumber(to, at + 8, 2, static_cast<int>(static_cast<unsigned>(calendar.day())));
    putNumber(to, at + 11, 2, static_cast<int>(clock.hours().count()));
    putNumber(to, at + 14, 2, static_cast<int>(clock.minutes().count()));
    putNumber(to, at + 17, 2, static_cast<int>(clock.seconds().count()));
}

std::optional<Date> parse(std::string_view text) {
    int year = 0;
    int month = 0;
    int day = 0;
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    const bool wellFormed = takeNumber(text, 4, 0, 9999, year) && takeSymbol(text, '-') &&
                            takeNumber(text, 2, 1, 12, month) && takeSymbol(text, '-') &&
                            takeNumber(text, 2, 1, 31, day) && takeSymbol(text, 'T') &&
                            takeNumber(text, 2, 0, 23, hours) && takeSymbol(text, ':') &&
                            takeNumber(text, 2, 0, 59, minutes) && takeSymbol(text, ':') &&
                            takeNumber(text, 2, 0, 59, seconds);
    if (!wellFormed) return std::nullopt;
    const auto zone = takeZone(text);
    if (!zone) return std::nullopt;

    const std::chrono::year_month_day calendar{std::chrono::year(year),
        std::chrono::month(static_cast<unsigned>(month)),
        std::chrono::day(static_cast<unsigned>(day))};
    if (!calendar.ok()) return std::nullopt;
    const auto days = std::chrono::sys_days(calendar).time_since_epoch().count();
    return Date::fromUnix(
        static_cast<double>(days) * 86400.0 + hours * 3600 + minutes * 60 + seconds - *zone);
}

} // namespace nimbe::iso8601
