#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/watch/TargetProbe.h"
#include "fuzz/Target.h"

#include <fmt/format.h>
#include <time.h>  // NOLINT(modernize-deprecated-headers): tzset is POSIX, not C++

#include <cstdlib>

namespace brellin {

namespace {

using fuzz::require;

/// A zone with summer time, written out so that it does not depend on the zones installed here.
bool setLocalZone() {
    ::setenv("TZ", "EET-2EEST,M3.5.0/3,M10.5.0/4", 1);
    ::tzset();
    return true;
}

/// The dates written here have four digits in the year, but for the first and last hours of that range.
bool hasFourDigitYear(std::string_view start) {
    const std::string_view year = start.substr(start.rfind(' ') + 1);
    return year.size() == 4 && year.find_first_not_of("0123456789") == std::string_view::npos;
}

void feedStartTime(std::string_view output) {
    const auto start = LivenessProbe::startInPsOutput(output);
    if (!start || !hasFourDigitYear(*start)) {
        return;
    }
    require(LivenessProbe::compareProcStart(*start, *start) == LivenessProbe::ProcStartComparison::match,
            "a start time is one that can be compared");
}

void feedProcessTable(std::string_view output) {
    const auto processes = TargetProbe::processesInPsOutput(output);
    std::string written;
    for (const ProcessSnapshot& process : processes) {
        require(!process.command.empty() && process.startRaw, "a process has a command and a start time");
        written += fmt::format("{} {} {}\n", process.pid, *process.startRaw, process.command);
    }
    require(TargetProbe::processesInPsOutput(written) == processes,
            "a process table that is written out is read as the same");
}

}  // namespace

void fuzz::feed(std::string_view input) {
    [[maybe_unused]] static const bool zoneIsSet = setLocalZone();
    feedStartTime(input);
    feedProcessTable(input);
}

}  // namespace brellin
