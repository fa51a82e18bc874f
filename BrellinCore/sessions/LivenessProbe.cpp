#include "BrellinCore/sessions/LivenessProbe.h"

#include "BrellinCore/platform/ProcessTable.h"
#include "BrellinCore/platform/SystemPrograms.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Decimal.h"
#include "BrellinCore/text/Split.h"
#include "BrellinCore/text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace brellin::LivenessProbe {

namespace {

constexpr std::string_view existenceMethod = "kill(pid,0)";

std::string withSingleSpaces(std::string_view text) {
    return joinWithSpaces(splitDroppingEmpty(text, " "));
}

LivenessVerdict unknown(std::string diagnostic) {
    return {Liveness::unknown, std::string(existenceMethod), std::move(diagnostic)};
}

/// The ids of those that exist, each once. An id that can be no process at all would make `ps` refuse the
/// others.
std::vector<std::int32_t> existing(std::span<const std::int32_t> pids) {
    std::set<std::int32_t> found;
    std::ranges::copy_if(pids, std::inserter(found, found.end()), ProcessTable::contains);
    return {found.begin(), found.end()};
}

ProcessStarts startsOf(std::span<const std::int32_t> pids, const ChildProcess::Supervision& supervision) {
    const auto ps = ChildProcess::supervise(
        SystemPrograms::ps(), {"-o", "pid=,stat=,lstart=", "-p", fmt::format("{}", fmt::join(pids, ","))},
        supervision);
    if (!ps) {
        return {};
    }
    const bool hasAnswered = ps->ending == ChildProcess::Ending::exited && ps->result.exitStatus &&
                             *ps->result.exitStatus <= 1 && Utf8::isValid(ps->result.output);
    if (!hasAnswered) {
        return {.ending = ps->ending};
    }
    PsTable table = processesInPsTable(ps->result.output);
    return {std::move(table.starts), std::move(table.zombies), ps->ending};
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
    return processStartUTCString(pid, ChildProcess::run);
}

std::optional<std::string> processStartUTCString(std::int32_t pid, const ChildProcess::Runner& run) {
    const auto ps = run(SystemPrograms::ps(), {"-o", "lstart=", "-p", std::to_string(pid)});
    return ps && ps->exitStatus == 0 ? startInPsOutput(ps->output) : std::nullopt;
}

ProcessStarts processStartsUTC(std::span<const std::int32_t> pids,
                               const ChildProcess::Supervision& supervision) {
    constexpr std::size_t mostAtOnce = 2000;  // 22,000 bytes of one argument at most
    ChildProcess::Supervision inUTC = supervision;
    inUTC.variables["LC_ALL"] = "C";
    inUTC.variables["TZ"] = "UTC0";
    const std::vector<std::int32_t> asked = existing(pids);
    ProcessStarts all{Starts(), {}, ChildProcess::Ending::exited};
    for (std::size_t first = 0; all.starts && first < asked.size(); first += mostAtOnce) {
        const std::size_t count = std::min(mostAtOnce, asked.size() - first);
        ProcessStarts some = startsOf(std::span(asked).subspan(first, count), inUTC);
        if (some.starts) {
            some.starts->merge(*all.starts);
            some.zombies.merge(all.zombies);
        }
        all = std::move(some);
    }
    return all;
}

PsTable processesInPsTable(std::string_view output) {
    constexpr std::size_t fieldsBeforeStart = 2;  // the PID and the state
    PsTable table;
    for (const std::string_view line : splitDroppingEmpty(output, "\n")) {
        const std::vector<std::string_view> fields = splitDroppingEmpty(line, " ");
        const auto pid =
            fields.size() <= fieldsBeforeStart ? std::nullopt : parseDecimal<std::int32_t>(fields.front());
        const auto seconds = pid ? DateText::parseProcessStart(
                                       joinWithSpaces({fields.begin() + fieldsBeforeStart, fields.end()}),
                                       DateText::Zone::utc)
                                 : std::nullopt;
        if (!seconds) {
            continue;
        }
        table.starts[*pid] = DateText::processStartUTC(*seconds);
        if (fields[1].starts_with('Z')) {
            table.zombies.insert(*pid);
        }
    }
    return table;
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
