#pragma once

#include "BrellinCore/platform/ChildProcess.h"
#include "BrellinCore/sessions/Liveness.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/watch/WatchTarget.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// One process as seen at one moment.
struct ProcessSnapshot {
    std::int32_t pid = 0;
    std::string command;                  ///< its command line from `ps`, or its name from `lsof`
    std::optional<std::string> startRaw;  ///< its start time as the enumerator gave it

    /// Names one incarnation of a process: "<pid>@<startRaw>", "?" for an absent start. The same PID with
    /// another start time is another occupant.
    std::string occupantRef() const;

    friend bool operator==(const ProcessSnapshot&, const ProcessSnapshot&) = default;
};

/// The answer for one target.
struct TargetVerdict {
    WatchTarget target;
    Liveness state = Liveness::unknown;
    std::string method;                     ///< "ps", "lsof", or for a PID that of its liveness verdict
    std::optional<std::string> diagnostic;  ///< absent only when alive
    std::vector<ProcessSnapshot>
        occupants;  ///< by PID; empty when nobody holds the target or none is known

    /// The occupant with the lowest PID; nullptr when there is none.
    const ProcessSnapshot* primaryOccupant() const;

    friend bool operator==(const TargetVerdict&, const TargetVerdict&) = default;
};

/// Decides whether a target is occupied, and by which processes. Every look at the machine goes through
/// four functions that a caller may replace; nothing is kept, and what cannot be found out is `unknown`.
namespace TargetProbe {

/// The four ways to look at the machine. A caller may replace each.
struct Enumerators {
    /// The process table; nullopt when it cannot be read.
    std::function<std::optional<std::vector<ProcessSnapshot>>()> processes;
    /// Who listens on a TCP port; nullopt when that cannot be found out.
    std::function<std::optional<std::vector<ProcessSnapshot>>(std::uint16_t port)> listenersOnPort;
    /// Whether a process with that id exists.
    std::function<bool(std::int32_t pid)> exists;
    /// When that process started, in UTC.
    std::function<std::optional<std::string>(std::int32_t pid)> start;

    /// This machine as it is: psSnapshot, lsofPort and LivenessProbe's two questions, `ps` and `lsof` run
    /// by `run`.
    static Enumerators system(const ChildProcess::Runner& run = ChildProcess::run);
};

TargetVerdict verdict(const WatchTarget& target, const Enumerators& enumerators);

/// The zone in which the start times of a target's occupants are written, as the system's enumerators give
/// them.
DateText::Zone startZone(const WatchTarget& target);

/// The process table as `ps -axo pid=,lstart=,command=` prints it, start times in local time. nullopt when
/// `ps` cannot be run, exits with a status above 1, or prints what is not UTF-8.
std::optional<std::vector<ProcessSnapshot>> psSnapshot(const ChildProcess::Runner& run = ChildProcess::run);

/// The listeners on a port as `lsof` reports them, start times in UTC; nullopt as for psSnapshot.
std::optional<std::vector<ProcessSnapshot>> lsofPort(std::uint16_t port,
                                                     const ChildProcess::Runner& run = ChildProcess::run);

/// psSnapshot's reading of what `ps` printed; lines of another form are skipped.
std::vector<ProcessSnapshot> processesInPsOutput(std::string_view output);

/// lsofPort's reading of what `lsof -Fpc` printed, by PID, start times left absent.
std::vector<ProcessSnapshot> listenersInLsofOutput(std::string_view output);

}  // namespace TargetProbe

}  // namespace brellin

/// Field-wise.
template <>
struct std::hash<brellin::ProcessSnapshot> {
    std::size_t operator()(const brellin::ProcessSnapshot& snapshot) const;
};
