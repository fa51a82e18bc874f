#include "BrellinCore/text/DateText.h"

#include "BrellinCore/platform/LocalTime.h"
#include "BrellinCore/text/Decimal.h"
#include "BrellinCore/text/Duration.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>

namespace brellin::DateText {

namespace {

constexpr std::array<std::string_view, 7> weekdays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::int64_t secondsPerDay = 86400;

/// The text up to the next space, taken off the front of `rest`; empty when there is none.
std::string_view takeField(std::string_view& rest) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    const std::string_view field = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return field;
}

/// A number of exactly `digits` digits, no sign.
std::optional<int> fixedNumber(std::string_view text, std::size_t digits) {
    if (text.size() != digits || text.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    return parseDecimal<int>(text);
}

/// Seconds since midnight for "HH:MM:SS".
std::optional<int> secondOfDay(std::string_view text) {
    if (text.size() != 8 || text[2] != ':' || text[5] != ':') {
        return std::nullopt;
    }
    const auto hour = fixedNumber(text.substr(0, 2), 2);
    const auto minute = fixedNumber(text.substr(3, 2), 2);
    const auto second = fixedNumber(text.substr(6, 2), 2);
    if (!hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 59) {
        return std::nullopt;
    }
    return (*hour * 60 + *minute) * 60 + *second;
}

/// The seconds since the epoch of a midnight in UTC; nullopt when the calendar has no such day.
std::optional<std::int64_t> midnightUTC(int year, int month, int day) {
    const std::chrono::year_month_day date(std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day)));
    return date.ok() ? std::optional(std::chrono::sys_days(date).time_since_epoch().count() * secondsPerDay)
                     : std::nullopt;
}

/// The seconds since the epoch that the text's fields would name if they were in UTC.
std::optional<std::int64_t> readAsUTC(std::string_view text) {
    const std::string_view weekday = takeField(text);
    const auto month = std::ranges::find(months, takeField(text));
    const std::string_view dayText = takeField(text);
    const auto second = secondOfDay(takeField(text));
    const auto year = fixedNumber(text, 4);
    const auto day = fixedNumber(dayText, dayText.size() == 1 ? 1 : 2);
    if (std::ranges::find(weekdays, weekday) == weekdays.end() || month == months.end() || !second ||
        !year || !day) {
        return std::nullopt;
    }
    const auto midnight = midnightUTC(*year, static_cast<int>(month - months.begin()) + 1, *day);
    return midnight ? std::optional(*midnight + *second) : std::nullopt;
}

/// The instant at which local clocks show the fields that `shown` has in UTC.
std::int64_t instantOfLocalTime(std::int64_t shown) {
    // No zone is a day away from UTC, so one of these two offsets is in force when the clocks show it.
    const std::int64_t before = LocalTime::utcOffset(shown - secondsPerDay);
    const std::int64_t after = LocalTime::utcOffset(shown + secondsPerDay);
    // Where clocks were set back both are, and the smaller offset names the later instant.
    for (const std::int64_t offset : {std::min(before, after), std::max(before, after)}) {
        if (LocalTime::utcOffset(shown - offset) == offset) {
            return shown - offset;
        }
    }
    // Clocks skipped this time: whoever wrote it had not set them forward.
    return shown - before;
}

/// The fields of an instant in UTC. Years are counted apart, since std::chrono ends at the year 32767.
struct Calendar {
    explicit Calendar(std::int64_t secondsSinceEpoch) {
        constexpr std::int64_t daysPerCycle =
            146097;  // after 400 years all dates, weekdays too, come again
        constexpr std::int64_t yearsPerCycle = 400;
        const std::int64_t day = floorDivide(secondsSinceEpoch, secondsPerDay);
        const std::int64_t cycle = floorDivide(day, daysPerCycle);
        const std::chrono::sys_days dayInCycle{std::chrono::days(day - cycle * daysPerCycle)};
        date = dayInCycle;
        year = static_cast<int>(date.year()) + cycle * yearsPerCycle;
        weekday = std::chrono::weekday(dayInCycle).c_encoding();
        const std::int64_t second = secondsSinceEpoch - day * secondsPerDay;
        time = fmt::format("{:02}:{:02}:{:02}", second / 3600, second / 60 % 60, second % 60);
    }

    static std::int64_t floorDivide(std::int64_t dividend, std::int64_t divisor) {
        return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
    }

    std::int64_t year;
    std::chrono::year_month_day date;  ///< its month and day count, its year does not
    std::size_t weekday;               ///< 0 is Sunday
    std::string time;                  ///< "HH:MM:SS"
};

/// At least four digits, a minus sign before them where it is needed.
std::string yearText(std::int64_t year) {
    return fmt::format("{}{:04}", year < 0 ? "-" : "", year < 0 ? -year : year);
}

/// "2026-03-01".
std::string dateIn(const Calendar& calendar) {
    return fmt::format("{}-{:02}-{:02}", yearText(calendar.year),
                       static_cast<unsigned>(calendar.date.month()),
                       static_cast<unsigned>(calendar.date.day()));
}

/// The seconds since the epoch at which "2026-03-01" begins in UTC.
std::optional<std::int64_t> midnightIn(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
        return std::nullopt;
    }
    const auto year = fixedNumber(text.substr(0, 4), 4);
    const auto month = fixedNumber(text.substr(5, 2), 2);
    const auto day = fixedNumber(text.substr(8), 2);
    return year && month && day ? midnightUTC(*year, *month, *day) : std::nullopt;
}

/// Milliseconds since midnight for "HH:MM", "HH:MM:SS" or "HH:MM:SS.mmm".
std::optional<int> millisecondOfDay(std::string_view text) {
    constexpr std::size_t withoutSeconds = 5;
    constexpr std::size_t withoutFraction = 8;
    if (text.size() == withoutSeconds) {
        const auto second = secondOfDay(std::string(text) + ":00");
        return second ? std::optional(*second * 1000) : std::nullopt;
    }
    const auto second = secondOfDay(text.substr(0, withoutFraction));
    const std::string_view fraction = text.substr(std::min(withoutFraction, text.size()));
    const auto milliseconds =
        fraction.starts_with('.') ? fixedNumber(fraction.substr(1), 3) : std::optional(0);
    const bool isWhole = fraction.empty() || fraction.starts_with('.');
    return second && milliseconds && isWhole ? std::optional(*second * 1000 + *milliseconds) : std::nullopt;
}

}  // namespace

std::optional<std::int64_t> parseProcessStart(std::string_view text, Zone zone) {
    const auto seconds = readAsUTC(text);
    return seconds && zone == Zone::local ? instantOfLocalTime(*seconds) : seconds;
}

std::string processStartUTC(std::int64_t secondsSinceEpoch) {
    const Calendar calendar(secondsSinceEpoch);
    return fmt::format("{} {} {} {} {}", weekdays.at(calendar.weekday),
                       months.at(static_cast<unsigned>(calendar.date.month()) - 1),
                       static_cast<unsigned>(calendar.date.day()), calendar.time, yearText(calendar.year));
}

std::string timestampUTC(std::int64_t millisecondsSinceEpoch) {
    const Calendar calendar(Calendar::floorDivide(millisecondsSinceEpoch, 1000));
    return fmt::format("{} {} +0000", dateIn(calendar), calendar.time);
}

std::string timestampLocal(std::int64_t millisecondsSinceEpoch) {
    const std::int64_t seconds = Calendar::floorDivide(millisecondsSinceEpoch, 1000);
    const std::int64_t offset = LocalTime::utcOffset(seconds);
    const std::int64_t minutes = (offset < 0 ? -offset : offset) / 60;
    const Calendar calendar(seconds + offset);
    return fmt::format("{} {} {}{:02}{:02}", dateIn(calendar), calendar.time, offset < 0 ? '-' : '+',
                       minutes / 60, minutes % 60);
}

std::string timestampRFC3339(std::int64_t millisecondsSinceEpoch) {
    const std::int64_t seconds = Calendar::floorDivide(millisecondsSinceEpoch, 1000);
    const Calendar calendar(seconds);
    return fmt::format("{}T{}.{:03}Z", dateIn(calendar), calendar.time,
                       millisecondsSinceEpoch - seconds * 1000);
}

std::optional<std::int64_t> parsePointInTime(std::string_view text, std::int64_t now) {
    if (const auto ago = Duration::parse(text)) {
        return now - ago->count();
    }
    constexpr std::size_t dateSize = 10;
    const auto midnight = midnightIn(text.substr(0, dateSize));
    std::string_view time = text.substr(std::min(dateSize, text.size()));
    if (!midnight || time.empty()) {
        return midnight ? std::optional(instantOfLocalTime(*midnight) * 1000) : std::nullopt;
    }
    const bool isUTC = time.ends_with('Z');
    time.remove_suffix(isUTC ? 1 : 0);
    const auto sinceMidnight =
        time.starts_with(' ') || time.starts_with('T') ? millisecondOfDay(time.substr(1)) : std::nullopt;
    if (!sinceMidnight) {
        return std::nullopt;
    }
    const std::int64_t shown = *midnight + *sinceMidnight / 1000;
    return (isUTC ? shown : instantOfLocalTime(shown)) * 1000 + *sinceMidnight % 1000;
}

}  // namespace brellin::DateText
