#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Duration.h"
#include "BrellinCore/text/Split.h"
#include "BrellinCore/text/Utf8.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

namespace brellin {

using DateText::parseProcessStart;
using DateText::Zone;

TEST(Utf8, TrimsUnicodeWhiteSpaceAtBothEndsOnly) {
    const std::string blanks =
        "\t \u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200A\u202F\u205F\u3000";
    const std::string all = blanks + "\n\v\f\r\u0085\u2028\u2029" + blanks;
    EXPECT_EQ(Utf8::trimmed(all + "a \u00A0b" + all), "a \u00A0b");
    EXPECT_EQ(Utf8::trimmed(all), "");
    EXPECT_EQ(Utf8::trimmed("\u200Ba\uFEFF"), "\u200Ba\uFEFF") << "neither is white space";
    EXPECT_EQ(Utf8::trimmedOfBlanks(blanks + "\na\r" + blanks), "\na\r") << "line breaks stay";
}

TEST(Utf8, ShowsWhatATerminalWouldObey) {
    for (const std::string seen : {"\t", "\u00A0é", "\u2027", "\u202F", "\u2065", "\u206A"}) {
        EXPECT_EQ(Utf8::printable(seen), seen);
    }
    for (const std::string_view obeyed :
         {"\x1F", "\x7F", "\u0080", "\u009F", "\u2028", "\u202E", "\u200E", "\U000E0041", "\u2066", "\u2069", "\xFF"}) {
        EXPECT_EQ(Utf8::printable(obeyed), "\uFFFD");
    }
}

TEST(Utf8, CountsAndRepairsWholeCharacters) {
    EXPECT_EQ(Utf8::prefix("aé𝄞z", 3), "aé𝄞");
    EXPECT_EQ(Utf8::prefix("ab", 3), "ab");
    EXPECT_EQ(Utf8::prefix("ab", 0), "");
    EXPECT_EQ(Utf8::repaired("a\xFFz\xE2\x82"), "a\uFFFDz\uFFFD");
    for (const std::string_view broken : {"\xC0\xAF", "\xED\xA0\x80", "\xF5\x80\x80\x80", "\x80", "\xE2\x82"}) {
        EXPECT_FALSE(Utf8::isValid(broken));
        EXPECT_TRUE(Utf8::isValid(Utf8::repaired(broken)));
    }
}

TEST(DateText, ReadsAProcessStartInUtc) {
    EXPECT_EQ(parseProcessStart("Thu Jan 1 00:00:00 1970", Zone::utc), 0);
    EXPECT_EQ(parseProcessStart("Mon Nov 03 09:05:07 2026", Zone::utc), 1793696707);
    EXPECT_EQ(parseProcessStart("Sat Nov 3 09:05:07 2026", Zone::utc), 1793696707) << "weekday not checked";
    EXPECT_EQ(parseProcessStart("Thu Feb 29 23:59:59 2024", Zone::utc), 1709251199);
    EXPECT_EQ(parseProcessStart("Tue Feb 29 00:00:00 2000", Zone::utc), 951782400);
    EXPECT_EQ(parseProcessStart("Wed Dec 31 23:59:59 1969", Zone::utc), -1);
    EXPECT_EQ(parseProcessStart("Sat Jan 1 00:00:00 0000", Zone::utc), -62167219200);
}

TEST(DateText, RefusesEveryOtherForm) {
    for (
        const std::string_view text : splitDroppingEmpty(
            "Mon Nov 3 09:05:07|Mon Nov 3 09:05:07 2026 | Mon Nov 3 09:05:07 2026|Mon Nov  3 09:05:07 2026|"
            "Mon Nov 3 09:05:07 2026 UTC|mon Nov 3 09:05:07 2026|Monday Nov 3 09:05:07 2026|Lun Nov 3 09:05:07 2026|"
            "Mon November 3 09:05:07 2026|Mon Nov 0 09:05:07 2026|Mon Nov 31 09:05:07 2026|Mon Feb 29 09:05:07 2026|Mon Feb 29 09:05:07 1900|"
            "Mon Nov 003 09:05:07 2026|Mon Nov +3 09:05:07 2026|Mon Nov 3 9:05:07 2026|Mon Nov 3 24:00:00 2026|"
            "Mon Nov 3 09:60:07 2026|Mon Nov 3 09:05:60 2026|Mon Nov 3 09:05:-7 2026|Mon Nov 3 09:05:07 26|"
            "Mon Nov 3 09:05:07 20266|Mon\tNov 3 09:05:07 2026",
            "|")) {
        EXPECT_EQ(parseProcessStart(text, Zone::utc), std::nullopt) << text;
        EXPECT_EQ(parseProcessStart(text, Zone::local), std::nullopt) << text;
    }
}

TEST(DateText, ReadsLocalTimeInTheZoneOfTheProcess) {
    const std::tuple<const char*, std::string_view, std::string_view> cases[] = {
        {"UTC", "Mon Nov 2 09:05:07 2026", "Mon Nov 2 09:05:07 2026"},
        {"Asia/Tokyo", "Mon Nov 2 08:05:07 2026", "Sun Nov 1 23:05:07 2026"},
        {"America/St_Johns", "Thu Jan 1 12:00:00 2026", "Thu Jan 1 15:30:00 2026"},
        {"America/St_Johns", "Wed Jul 1 12:00:00 2026", "Wed Jul 1 14:30:00 2026"},
        {"Europe/Berlin", "Thu Jan 1 00:30:00 2026", "Wed Dec 31 23:30:00 2025"},
        {"Europe/Berlin", "Wed Jul 1 12:00:00 2026", "Wed Jul 1 10:00:00 2026"},
        {"Europe/Berlin", "Sun Oct 25 02:30:00 2026", "Sun Oct 25 01:30:00 2026"},  // came twice
        {"Europe/Berlin", "Sun Mar 29 02:30:00 2026", "Sun Mar 29 01:30:00 2026"},  // never came
        {"Asia/Almaty", "Thu Feb 29 23:30:00 2024", "Thu Feb 29 18:30:00 2024"},    // came twice, no summer time
        {"Pacific/Apia", "Sat Dec 31 00:30:00 2011", "Fri Dec 30 10:30:00 2011"}};  // after a day that never came
    for (const auto& [name, local, utc] : cases) {
        ::setenv("TZ", name, 1);
        for (int again = 0; again < 2; ++again) {
            const auto seconds = parseProcessStart(local, Zone::local);
            ASSERT_TRUE(seconds) << name << local;
            EXPECT_EQ(DateText::processStartUTC(*seconds), utc) << name << " " << local;
            // What was asked before must not decide how the next text is read.
            parseProcessStart("Wed Jul 1 12:00:00 2026", Zone::local);
        }
    }
}

TEST(DateText, PrintsMillisecondsByFlooringAndNeverFails) {
    EXPECT_EQ(DateText::timestampUTC(0), "1970-01-01 00:00:00 +0000");
    EXPECT_EQ(DateText::timestampUTC(999), "1970-01-01 00:00:00 +0000");
    EXPECT_EQ(DateText::timestampUTC(-1), "1969-12-31 23:59:59 +0000");
    EXPECT_EQ(DateText::timestampUTC(-1000), "1969-12-31 23:59:59 +0000");
    EXPECT_EQ(DateText::timestampUTC(-1001), "1969-12-31 23:59:58 +0000");
    EXPECT_EQ(DateText::timestampUTC(1772373909123), "2026-03-01 14:05:09 +0000");
    EXPECT_EQ(DateText::timestampUTC(-62167219200000), "0000-01-01 00:00:00 +0000");
    EXPECT_EQ(DateText::timestampUTC(-62198755200000), "-0001-01-01 00:00:00 +0000");
    EXPECT_EQ(DateText::timestampUTC(253402300800000), "10000-01-01 00:00:00 +0000");
    EXPECT_EQ(DateText::timestampUTC(std::numeric_limits<std::int64_t>::max()), "292278994-08-17 07:12:55 +0000");
    EXPECT_EQ(DateText::timestampUTC(std::numeric_limits<std::int64_t>::min()), "-292275055-05-16 16:47:04 +0000");
}

TEST(DateText, PrintsLocalTimeAndRFC3339) {
    const std::tuple<const char*, std::int64_t, std::string_view> cases[] = {
        {"Europe/Berlin", 1772373909123, "2026-03-01 15:05:09 +0100"},
        {"Europe/Berlin", 1792889999999, "2026-10-25 02:59:59 +0200"},
        {"Europe/Berlin", 1792890000000, "2026-10-25 02:00:00 +0100"},
        {"America/St_Johns", 1772373909123, "2026-03-01 10:35:09 -0330"},
        {"Asia/Kathmandu", -1, "1970-01-01 05:29:59 +0530"},
        {"UTC", 253402300800000, "10000-01-01 00:00:00 +0000"}};
    for (const auto& [zone, milliseconds, text] : cases) {
        ::setenv("TZ", zone, 1);
        EXPECT_EQ(DateText::timestampLocal(milliseconds), text) << zone;
    }
    EXPECT_EQ(DateText::timestampRFC3339(1772373909123), "2026-03-01T14:05:09.123Z");
    EXPECT_EQ(DateText::timestampRFC3339(-1), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(DateText::timestampRFC3339(253402300800000), "10000-01-01T00:00:00.000Z");
}

TEST(DateText, ReadsAPointInTimeAsPeopleTypeIt) {
    ::setenv("TZ", "Europe/Berlin", 1);
    for (
        const std::string_view each : splitDroppingEmpty(
            "2026-11-01=2026-10-31T23:00:00.000Z|2026-07-01=2026-06-30T22:00:00.000Z|2026-11-01 14:00=2026-11-01T13:00:00.000Z|"
            "2026-07-01T14:00:05=2026-07-01T12:00:05.000Z|2026-11-01 14:00Z=2026-11-01T14:00:00.000Z|"
            "1969-12-31T23:59:59.999Z=1969-12-31T23:59:59.999Z|2h=1969-12-31T22:16:40.000Z|0.5=1970-01-01T00:16:39.500Z",
            "|")) {
        const auto milliseconds = DateText::parsePointInTime(each.substr(0, each.find('=')), 1'000'000);
        ASSERT_TRUE(milliseconds) << each;
        EXPECT_EQ(DateText::timestampRFC3339(*milliseconds), each.substr(each.find('=') + 1));
    }
    for (const std::string_view text : splitDroppingEmpty(
             "yesterday|2026-11|2026-02-29|2026-13-01|2026-1-1|2026-11-01Z|2026-11-01 |2026-11-01 14|2026-11-01 24:00|"
             "2026-11-01 14:00:5|2026-11-01 14:00:60|2026-11-01  14:00|2026-11-01t14:00|2026-11-01 14:00 Z|"
             "2026-11-01T14:00:05.1|2026-11-01T14:00:05x|2026-11-01T14:00:05.1234|2026/11/01|-2h| 2h|2026-11-01 14:00z",
             "|")) {
        EXPECT_EQ(DateText::parsePointInTime(text, 0), std::nullopt) << text;
    }
    EXPECT_EQ(DateText::parsePointInTime("", 0), std::nullopt);
}

TEST(Duration, ReadsAndWritesWhatPeopleType) {
    EXPECT_EQ(Duration::parse("1w1d1h1m1s1ms"), std::chrono::milliseconds(694'861'001));
    for (const std::string_view each : splitDroppingEmpty(
             "90d=90d|2w=14d|36h=1d12h|1h30m=1h30m|1.5h=1h30m|45s=45s|500ms=500ms|0.5=500ms|90=1m30s|1.0009=1s|0=0s|"
             "1w1d1h1m1s1ms=8d1h1m1s1ms|0.99999999999w=6d23h59m59s999ms|365250d=365250d",
             "|")) {
        const auto duration = Duration::parse(each.substr(0, each.find('=')));
        ASSERT_TRUE(duration) << each;
        EXPECT_EQ(Duration::describe(*duration), each.substr(each.find('=') + 1));
    }
    for (const std::string_view text : splitDroppingEmpty(
             "s|h|.5|5.|1..5|1.5.5s|-1|+1|1e3|inf|nan|0x10|1 h| 1h|1h |1H|1y|1hour|30m1h|1h1h|1h30|1.h|1m5|365251d|"
             "365250d1ms|9223372036854775807|99999999999999999999|99999999999999999999w|1,5|1h-5m|١h",
             "|")) {
        EXPECT_EQ(Duration::parse(text), std::nullopt) << text;
    }
    EXPECT_EQ(Duration::parse(""), std::nullopt);
    EXPECT_EQ(Duration::describe(-std::chrono::seconds(90)), "-1m30s");
    EXPECT_EQ(Duration::describe(std::chrono::milliseconds::min()), "-106751991167d7h12m55s808ms");
}

}  // namespace brellin
