#include "Foundation/Calendar.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <ctime>

#include <unicode/calendar.h>
#include <unicode/datefmt.h>
#include <unicode/dtptngen.h>
#include <unicode/simpletz.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

namespace nimbe {
namespace {

constexpr double millisecondsPerSecond = 1000;

UDate udate(Date date) {
    return date.unixSeconds() * millisecondsPerSecond;
}

} // namespace

struct Calendar::State {
    std::unique_ptr<icu::Calendar> calendar;
    icu::Locale locale;
    std::array<std::unique_ptr<icu::DateFormat>, 3> formats; // by Style, made when needed

    [[nodiscard]] static std::shared_ptr<State> create(
        const Locale& locale, std::unique_ptr<icu::TimeZone> zone);
    [[nodiscard]] std::unique_ptr<icu::DateFormat> make(Style style) const;
    [[nodiscard]] icu::DateFormat* formatOf(Style style);
    [[nodiscard]] std::array<int, 3> fields(Date date) const;
};

std::unique_ptr<icu::DateFormat> Calendar::State::make(Style style) const {
    std::unique_ptr<icu::DateFormat> format;
    if (style == Style::shortTime) {
        format.reset(icu::DateFormat::createTimeInstance(icu::DateFormat::kShort, locale));
    } else {
        UErrorCode error = U_ZERO_ERROR;
        const char16_t* parts = style == Style::monthDay ? u"MMMd" : u"yMMMd";
        format.reset(icu::DateFormat::createInstanceForSkeleton(parts, locale, error));
    }
    if (format && calendar) format->setTimeZone(calendar->getTimeZone());
    return format;
}

icu::DateFormat* Calendar::State::formatOf(Style style) {
    auto& format = formats.at(static_cast<std::size_t>(style));
    if (!format) format = make(style);
    return format.get();
}

/// Era, year and day of the year.
std::array<int, 3> Calendar::State::fields(Date date) const {
    UErrorCode error = U_ZERO_ERROR;
    calendar->setTime(udate(date), error);
    return {calendar->get(UCAL_ERA, error), calendar->get(UCAL_YEAR, error),
        calendar->get(UCAL_DAY_OF_YEAR, error)};
}

Calendar::Calendar(std::shared_ptr<State> state) : state(std::move(state)) {}

Calendar::Calendar(const Locale& locale, const std::string& timeZone)
    // For a name that it does not know ICU makes a zone like UTC.
    : Calendar(State::create(locale, std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(
                                         icu::UnicodeString::fromUTF8(timeZone))))) {}

Calendar Calendar::user() {
    // The zone itself, not its name: "TZ=ABC5" has none that ICU would know again.
    std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::detectHostTimeZone());
    const auto now = std::time(nullptr);
    std::tm local{};
    ::tzset();
    ::localtime_r(&now, &local);
    std::int32_t offset = 0;
    std::int32_t saving = 0;
    UErrorCode error = U_ZERO_ERROR;
    if (zone) zone->getOffset(udate(Date::now()), 0, offset, saving, error);
    // Forms that only the system's library understands, as "<+03>-3".
    const auto wanted = static_cast<std::int32_t>(local.tm_gmtoff) * 1000;
    if (!zone || offset + saving != wanted)
        zone = std::make_unique<icu::SimpleTimeZone>(wanted, icu::UnicodeString());
    return Calendar(State::create(Locale::forTime(), std::move(zone)));
}

std::shared_ptr<Calendar::State> Calendar::State::create(
    const Locale& locale, std::unique_ptr<icu::TimeZone> zone) {
    auto state = std::make_shared<State>();
    state->locale = icu::Locale(locale.identifier.c_str());
    UErrorCode error = U_ZERO_ERROR;
    state->calendar.reset(icu::Calendar::createInstance(*zone, state->locale, error));
    if (U_FAILURE(error)) std::abort(); // memory is out, or ICU without its data
    return state;
}

bool Calendar::isSameDay(Date left, Date right) const {
    return state->fields(left) == state->fields(right);
}

bool Calendar::isSameYear(Date left, Date right) const {
    const auto [leftEra, leftYear, leftDay] = state->fields(left);
    const auto [rightEra, rightYear, rightDay] = state->fields(right);
    return leftEra == rightEra && leftYear == rightYear;
}

Date Calendar::addingDays(Date date, int count) const {
    UErrorCode error = U_ZERO_ERROR;
    state->calendar->setTime(udate(date), error);
    state->calendar->add(UCAL_DATE, count, error);
    const UDate moved = state->calendar->getTime(error);
    return U_SUCCESS(error) ? Date::fromUnix(moved / millisecondsPerSecond) : date;
}

std::string Calendar::format(Date date, Style style) const {
    std::string text;
    const auto* format = state->formatOf(style);
    if (!format) return text;
    icu::UnicodeString formatted;
    format->format(udate(date), formatted).toUTF8String(text);
    return text;
}

} // namespace nimbe
