#include "BrellinCore/sessions/LivenessProbe.h"

#include "BrellinCore/platform/ChildProcess.h"
#include "BrellinCore/platform/ProcessTable.h"
#include "BrellinCore/platform/SystemPrograms.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Decimal.h"
#include "BrellinCore/text/Split.h"
#include "BrellinCore/text/Utf8.h"

#include <fmt/format.h>

#include <utility>

namespace brellin::LivenessProbe {

namespace {

constexpr std::string_view existenceMethod = "kill(pid,0)";

std::string withSingleSpaces(std::string_view text) {
    return joinWithSpaces(splitDroppingEmpty(text, " "));
}

LivenessVerdict unknown(std::string diagnostic) {
    return {Liveness::unknown, std::string(existenceMethod), std::move(diagnostic)};
}

}  // namespace

bool processExists(std::int32_t pid) {
    return ProcessTable::contains(pid);
}

std::optional<std::string> startInPsOutput(std::string_view output) {
    if (!Utf8::isValid(output)) {
        return std::nullopt;
    }
    const std::string text = withSingleSpaces(Utf8::trimmed(output));
    const auto seconds = DateText::parseProcessStart(text, DateText::Zone::local);
    return seconds ? std::optional(DateText::processStartUTC(*seconds)) : std::nullopt;
}

std::optional<std::string> processStartUTCString(std::int32_t pid) {
    const auto ps = ChildProcess::run(SystemPrograms::ps(), {"-o", "lstart=", "-p", std::to_string(pid)});
    return ps && ps->exitStatus == 0 ? startInPsOutput(ps->output) : std::nullopt;
}

std::optional<std::int64_t> parseCtimeUTC(std::string_view text) {
    return DateText::parseProcessStart(withSingleSpaces(text), DateText::Zone::utc);
}

ProcStartComparison compareProcStart(std::string_view declared, std::string_view actual) {
    const auto declaredSeconds = parseCtimeUTC(declared);
    const auto actualSeconds = declaredSeconds ? parseCtimeUTC(actual) : std::nullopt;
    if (!actualSeconds) {
        return ProcStartComparison::unparsable;
    }
    return declaredSeconds == actualSeconds ? ProcStartComparison::match : ProcStartComparison::mismatch;
}

LivenessVerdict verdict(std::int32_t pid, const std::optional<std::string>& procStartRaw,
                        const ExistenceProbe& probeExists, const StartProbe& probeStart) {
    if (!probeExists(pid)) {
        return {Liveness::stale, std::string(existenceMethod), fmt::format("no process with PID {}", pid)};
    }
    if (!procStartRaw) {
        return unknown("no procStart baseline — PID recycling cannot be ruled out");
    }
    const auto live = probeStart(pid);
    if (!live) {
        return unknown("procStart unavailable (ps unreadable) — PID recycling cannot be ruled out");
    }
    const std::string& baseline = *procStartRaw;
    switch (compareProcStart(baseline, *live)) {
        case ProcStartComparison::match:
            return {Liveness::alive, "kill(pid,0) + procStart", std::nullopt};
        case ProcStartComparison::mismatch:
            return {Liveness::stale, "procStart mismatch",
                    fmt::format("PID {} recycled: the baseline says {}, the live process started at {}",
                                pid, baseline, *live)};
        case ProcStartComparison::unparsable:
            break;
    }
    return unknown(
        fmt::format("procStart unparsable (baseline: {}, process: {}) — PID recycling cannot be ruled out",
                    baseline, *live));
}

std::optional<std::set<std::int32_t>> socketPIDsInLsofOutput(std::string_view output) {
    if (!Utf8::isValid(output)) {
        return std::nullopt;
    }
    std::set<std::int32_t> holders;
    std::optional<std::int32_t> current;
    for (const std::string_view line : splitDroppingEmpty(output, "\n")) {
        if (line.starts_with('p')) {
            current = parseDecimal<std::int32_t>(line.substr(1));
        } else if (line.starts_with('n') && current && line.find("cc-socks") != std::string_view::npos) {
            holders.insert(*current);
        }
    }
    return holders;
}

std::optional<std::set<std::int32_t>> listeningSocketPIDs() {
    const auto lsof = ChildProcess::run(SystemPrograms::lsof(), {"-U", "-F", "pn"});
    return lsof ? socketPIDsInLsofOutput(lsof->output) : std::nullopt;
}

}  // namespace brellin::LivenessProbe
