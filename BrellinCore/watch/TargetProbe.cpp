#include "BrellinCore/watch/TargetProbe.h"

#include "BrellinCore/platform/SystemPrograms.h"
#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/text/Decimal.h"
#include "BrellinCore/text/Split.h"
#include "BrellinCore/text/Utf8.h"
#include "BrellinCore/watch/Overloaded.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

namespace brellin {

std::string ProcessSnapshot::occupantRef() const {
    return fmt::format("{}@{}", pid, startRaw.value_or("?"));
}

const ProcessSnapshot* TargetVerdict::primaryOccupant() const {
    return occupants.empty() ? nullptr : &occupants.front();
}

namespace TargetProbe {

namespace {

/// The output of a run that exited with status 0 or 1 (1 is how both programs say that they found nothing);
/// nullopt otherwise.
std::optional<std::string> answerIn(const std::optional<ChildProcess::Result>& result) {
    if (!result || !result->exitStatus || *result->exitStatus > 1 || !Utf8::isValid(result->output)) {
        return std::nullopt;
    }
    return result->output;
}

std::vector<ProcessSnapshot> sortedByPid(std::vector<ProcessSnapshot> snapshots) {
    std::ranges::stable_sort(snapshots, {}, &ProcessSnapshot::pid);
    return snapshots;
}

TargetVerdict pidVerdict(const WatchTarget& target, const PidStart& pidStart,
                         const Enumerators& enumerators) {
    LivenessVerdict liveness = LivenessProbe::verdict(pidStart, enumerators.exists, enumerators.start);
    TargetVerdict verdict{
        target, liveness.state, std::move(liveness.method), std::move(liveness.diagnostic), {}};
    if (verdict.state != Liveness::stale) {
        const auto start = enumerators.start(pidStart.pid);
        verdict.occupants.push_back(
            {pidStart.pid, fmt::format("pid {}", pidStart.pid), start ? start : pidStart.procStartRaw});
    }
    return verdict;
}

TargetVerdict commandVerdict(const WatchTarget& target, const std::string& pattern,
                             const Enumerators& enumerators) {
    auto processes = enumerators.processes();
    if (!processes) {
        return {target,
                Liveness::unknown,
                "ps",
                "ps could not be enumerated — the command’s presence cannot be decided",
                {}};
    }
    std::erase_if(*processes, [&](const ProcessSnapshot& process) {
        return process.command.find(pattern) == std::string::npos;
    });
    if (processes->empty()) {
        return {
            target, Liveness::stale, "ps", fmt::format("no process whose argv contains “{}”", pattern), {}};
    }
    return {target, Liveness::alive, "ps", std::nullopt, sortedByPid(std::move(*processes))};
}

TargetVerdict portVerdict(const WatchTarget& target, WatchTarget::Port port,
                          const Enumerators& enumerators) {
    auto listeners = enumerators.listenersOnPort(port);
    if (!listeners) {
        return {target,
                Liveness::unknown,
                "lsof",
                "lsof could not run — the port’s occupant cannot be decided",
                {}};
    }
    if (listeners->empty()) {
        return {target, Liveness::stale, "lsof", fmt::format("nobody is listening on port {}", port), {}};
    }
    return {target, Liveness::alive, "lsof", std::nullopt, sortedByPid(std::move(*listeners))};
}

}  // namespace

TargetVerdict verdict(const WatchTarget& target, const Enumerators& enumerators) {
    return std::visit(
        Overloaded{[&](const PidStart& start) { return pidVerdict(target, start, enumerators); },
                   [&](const WatchTarget::Command& command) {
                       return commandVerdict(target, command.pattern, enumerators);
                   },
                   [&](WatchTarget::Port port) { return portVerdict(target, port, enumerators); }},
        target.kind());
}

DateText::Zone startZone(const WatchTarget& target) {
    // The process table prints local time; the start of one process is asked for in UTC.
    return std::visit(
        Overloaded{[](const PidStart& /*start*/) { return DateText::Zone::utc; },
                   [](const WatchTarget::Command& /*command*/) { return DateText::Zone::local; },
                   [](WatchTarget::Port /*port*/) { return DateText::Zone::utc; }},
        target.kind());
}

Enumerators Enumerators::system(const ChildProcess::Runner& run) {
    return {.processes = [run] { return psSnapshot(run); },
            .listenersOnPort = [run](std::uint16_t port) { return lsofPort(port, run); },
            .exists = LivenessProbe::processExists,
            .start = [run](std::int32_t pid) { return LivenessProbe::processStartUTCString(pid, run); }};
}

std::vector<ProcessSnapshot> processesInPsOutput(std::string_view output) {
    constexpr std::size_t startFields = 5;  // weekday, month, day, time, year
    std::vector<ProcessSnapshot> processes;
    for (const std::string_view line : splitDroppingEmpty(output, "\n")) {
        const std::vector<std::string_view> fields = splitDroppingEmpty(line, " \t");
        const auto pid =
            fields.size() < startFields + 2 ? std::nullopt : parseDecimal<std::int32_t>(fields[0]);
        if (!pid) {
            continue;
        }
        const auto commandStart = fields.begin() + 1 + startFields;
        processes.push_back({*pid, joinWithSpaces({commandStart, fields.end()}),
                             joinWithSpaces({fields.begin() + 1, commandStart})});
    }
    return processes;
}

std::vector<ProcessSnapshot> listenersInLsofOutput(std::string_view output) {
    std::map<std::int32_t, std::string> commands;
    std::optional<std::int32_t> current;
    for (const std::string_view line : splitDroppingEmpty(output, "\n")) {
        if (line.starts_with('p')) {
            current = parseDecimal<std::int32_t>(line.substr(1));
        } else if (line.starts_with('c') && current) {
            commands[*current] = line.substr(1);
        }
    }
    std::vector<ProcessSnapshot> listeners;
    listeners.reserve(commands.size());
    for (auto& [pid, command] : commands) {
        listeners.push_back({pid, std::move(command), std::nullopt});
    }
    return listeners;
}

std::optional<std::vector<ProcessSnapshot>> psSnapshot(const ChildProcess::Runner& run) {
    const auto output = answerIn(run(SystemPrograms::ps(), {"-axo", "pid=,lstart=,command="}));
    return output ? std::optional(processesInPsOutput(*output)) : std::nullopt;
}

std::optional<std::vector<ProcessSnapshot>> lsofPort(std::uint16_t port, const ChildProcess::Runner& run) {
    const auto output = answerIn(
        run(SystemPrograms::lsof(), {"-nP", fmt::format("-iTCP:{}", port), "-sTCP:LISTEN", "-Fpc"}));
    if (!output) {
        return std::nullopt;
    }
    std::vector<ProcessSnapshot> listeners = listenersInLsofOutput(*output);
    for (ProcessSnapshot& listener : listeners) {
        listener.startRaw = LivenessProbe::processStartUTCString(listener.pid, run);
    }
    return listeners;
}

}  // namespace TargetProbe

}  // namespace brellin

std::size_t std::hash<brellin::ProcessSnapshot>::operator()(
    const brellin::ProcessSnapshot& snapshot) const {
    constexpr std::size_t multiplier = 31;
    std::size_t combined = std::hash<std::int32_t>()(snapshot.pid);
    combined = combined * multiplier + std::hash<std::string>()(snapshot.command);
    return combined * multiplier + std::hash<std::optional<std::string>>()(snapshot.startRaw);
}
