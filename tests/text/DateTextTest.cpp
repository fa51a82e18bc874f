#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Split.h"
#include "tests/world/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <limits>

namespace brellin {

using DateText::parseProcessStart;
using DateText::Zone;

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
        const world::ScopedVariable zone("TZ", name);
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

}  // namespace brellin
