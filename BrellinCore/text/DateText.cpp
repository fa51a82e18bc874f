#include "BrellinCore/text/DateText.h"

#include "BrellinCore/text/Decimal.h"

#include <fmt/format.h>
#include <time.h>  // NOLINT(modernize-deprecated-headers): timegm and gmtime_r are POSIX, not C++

#include <algorithm>
#include <array>

namespace brellin::DateText {

namespace {

constexpr std::array<std::string_view, 7> weekdays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

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

int daysInMonth(int month, int year) {
    constexpr std::array<int, 12> days = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return days.at(static_cast<std::size_t>(month)) + (month == 1 && leap ? 1 : 0);
}

bool readTime(std::string_view text, tm& fields) {
    if (text.size() != 8 || text[2] != ':' || text[5] != ':') {
        return false;
    }
    const auto hour = fixedNumber(text.substr(0, 2), 2);
    const auto minute = fixedNumber(text.substr(3, 2), 2);
    const auto second = fixedNumber(text.substr(6, 2), 2);
    if (!hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 59) {
        return false;
    }
    fields.tm_hour = *hour;
    fields.tm_min = *minute;
    fields.tm_sec = *second;
    return true;
}

std::optional<tm> readFields(std::string_view text) {
    const std::string_view weekday = takeField(text);
    const auto month = std::ranges::find(months, takeField(text));
    const std::string_view dayText = takeField(text);
    tm fields{};
    const bool timeIsValid = readTime(takeField(text), fields);
    const auto year = fixedNumber(text, 4);
    const auto day = fixedNumber(dayText, dayText.size() == 1 ? 1 : 2);
    if (std::ranges::find(weekdays, weekday) == weekdays.end() || month == months.end() || !timeIsValid ||
        !year || !day) {
        return std::nullopt;
    }
    fields.tm_mon = static_cast<int>(month - months.begin());
    fields.tm_year = *year - 1900;
    fields.tm_mday = *day;
    if (*day < 1 || *day > daysInMonth(fields.tm_mon, *year)) {
        return std::nullopt;
    }
    return fields;
}

/// mktime with a given answer to "is it summer time?"; nullopt when the zone has no such local time.
std::optional<std::int64_t> localTime(tm fields, int isSummerTime) {
    tm probe = fields;
    probe.tm_isdst = isSummerTime;
    probe.tm_wday = -1;  // stays untouched when mktime fails; its return value -1 is also a valid time
    const time_t seconds = ::mktime(&probe);
    const bool keptItsFields =
        probe.tm_hour == fields.tm_hour && probe.tm_min == fields.tm_min && probe.tm_mday == fields.tm_mday;
    if (probe.tm_wday == -1 || (isSummerTime >= 0 && (!keptItsFields || probe.tm_isdst != isSummerTime))) {
        return std::nullopt;
    }
    return seconds;
}

}  // namespace

std::optional<std::int64_t> parseProcessStart(std::string_view text, Zone zone) {
    auto fields = readFields(text);
    if (!fields) {
        return std::nullopt;
    }
    if (zone == Zone::utc) {
        return ::timegm(&*fields);
    }
    // Left to itself, mktime answers a repeated hour by what it was asked before; asking both ways makes
    // the answer depend on the text alone. An hour that the clock skipped is neither.
    const auto standard = localTime(*fields, 0);
    const auto summer = localTime(*fields, 1);
    return standard || summer ? std::max(standard, summer) : localTime(*fields, -1);
}

std::string processStartUTC(std::int64_t secondsSinceEpoch) {
    const auto seconds = static_cast<time_t>(secondsSinceEpoch);
    tm fields{};
    if (::gmtime_r(&seconds, &fields) == nullptr) {
        return {};
    }
    return fmt::format("{} {} {} {:02}:{:02}:{:02} {:04}",
                       weekdays.at(static_cast<std::size_t>(fields.tm_wday)),
                       months.at(static_cast<std::size_t>(fields.tm_mon)), fields.tm_mday, fields.tm_hour,
                       fields.tm_min, fields.tm_sec, std::int64_t{fields.tm_year} + 1900);
}

std::string timestampUTC(std::int64_t millisecondsSinceEpoch) {
    const std::int64_t remainder = millisecondsSinceEpoch % 1000;
    const auto seconds = static_cast<time_t>(millisecondsSinceEpoch / 1000 - (remainder < 0 ? 1 : 0));
    tm fields{};
    if (::gmtime_r(&seconds, &fields) == nullptr) {
        return "unknown";
    }
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} +0000", std::int64_t{fields.tm_year} + 1900,
                       fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec);
}

}  // namespace brellin::DateText
