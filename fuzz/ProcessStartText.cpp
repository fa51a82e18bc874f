#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Decimal.h"
#include "BrellinCore/text/Split.h"
#include "fuzz/Target.h"

#include <algorithm>
#include <cstdlib>

namespace brellin {

namespace {

using fuzz::require;
using LivenessProbe::ProcStartComparison;

/// Month, day, time and year; the weekday is not read, and a day may be written with a leading zero.
bool haveEqualFields(std::string_view left, std::string_view right) {
    const auto leftFields = splitDroppingEmpty(left, " ");
    const auto rightFields = splitDroppingEmpty(right, " ");
    return leftFields.size() == 5 && rightFields.size() == 5 && leftFields[1] == rightFields[1] &&
           parseDecimal<int>(leftFields[2]) == parseDecimal<int>(rightFields[2]) &&
           leftFields[3] == rightFields[3] && leftFields[4] == rightFields[4];
}

void feedOne(std::string_view text) {
    const auto seconds = LivenessProbe::parseCtimeUTC(text);
    if (!seconds) {
        return;
    }
    const std::string written = DateText::processStartUTC(*seconds);
    require(DateText::parseProcessStart(written, DateText::Zone::utc) == seconds,
            "a start time that is written out is read as the same second");
    require(haveEqualFields(text, written), "a start time that can be read is a date of the calendar");
    require(LivenessProbe::compareProcStart(text, written) == ProcStartComparison::match,
            "a start time is that of its written form");

    const auto local = DateText::parseProcessStart(written, DateText::Zone::local);
    constexpr std::int64_t day = 86400;
    require(local && std::abs(*local - *seconds) <= day, "no zone is further away than a day");
}

}  // namespace

/// The first line is the declared start time, the rest the actual one.
void fuzz::feed(std::string_view input) {
    const std::size_t feed = std::min(input.find('\n'), input.size());
    const std::string_view declared = input.substr(0, feed);
    const std::string_view actual = input.substr(std::min(feed + 1, input.size()));
    feedOne(declared);
    feedOne(actual);

    const auto comparison = LivenessProbe::compareProcStart(declared, actual);
    require(LivenessProbe::compareProcStart(actual, declared) == comparison,
            "a comparison does not depend on the order");
    const auto left = LivenessProbe::parseCtimeUTC(declared);
    const auto right = LivenessProbe::parseCtimeUTC(actual);
    require((comparison == ProcStartComparison::unparsable) == (!left || !right),
            "what can be read can be compared");
    require((comparison == ProcStartComparison::match) == (left && left == right),
            "what names the same second matches");
}

}  // namespace brellin
