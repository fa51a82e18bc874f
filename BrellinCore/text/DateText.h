#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brellin {

/// The written forms of a date that this system reads and prints. Names of days and months are always
/// English, whatever the locale.
///
/// A process start is written as `ps` and the sessions write it, "Mon Nov 3 09:05:07 2026": weekday, month,
/// day of the month (one or two digits, valid for the month), time, four-digit year, single spaces between.
/// The weekday must be one of the seven names but need not agree with the date.
namespace DateText {

enum class Zone { utc, local };

/// Seconds since the Unix epoch for a process start written in the given zone; nullopt when the text has
/// another form. A local time that a clock change repeats is read as the later of the two instants.
std::optional<std::int64_t> parseProcessStart(std::string_view text, Zone zone);

/// The process start form of the instant, in UTC, the day without a leading zero.
std::string processStartUTC(std::int64_t secondsSinceEpoch);

/// "2026-03-01 14:05:09 +0000" for milliseconds since the Unix epoch, the fraction floored away. Years
/// outside four digits are printed with the digits that they have.
std::string timestampUTC(std::int64_t millisecondsSinceEpoch);

/// The same in local time: "2026-03-01 15:05:09 +0100".
std::string timestampLocal(std::int64_t millisecondsSinceEpoch);

/// "2026-03-01T14:05:09.123Z", years as timestampUTC prints them.
std::string timestampRFC3339(std::int64_t millisecondsSinceEpoch);

/// Milliseconds since the Unix epoch for a point in time as people type it: a Duration ("2h": that long
/// before `now`), "2026-11-01" (its midnight), "2026-11-01 14:00" or "2026-11-01 14:00:05", also with a "T"
/// for the space and milliseconds behind the seconds (".123"). Local time, unless "Z" follows a time.
/// nullopt when the text has another form. A local time that comes twice or never is read as
/// parseProcessStart reads it.
std::optional<std::int64_t> parsePointInTime(std::string_view text, std::int64_t now);

}  // namespace DateText

}  // namespace brellin
