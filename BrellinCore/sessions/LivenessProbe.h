#pragma once

#include "BrellinCore/platform/ChildProcess.h"
#include "BrellinCore/sessions/Liveness.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>

namespace brellin {

/// Decides whether the process with a declared PID is still the declared one: does it exist, and did it
/// start when the declaration says? Every call observes the machine afresh; no operation throws, and what
/// cannot be measured makes the verdict `unknown`.
namespace LivenessProbe {

/// Whether two start texts name the same instant.
enum class ProcStartComparison { match, mismatch, unparsable };

using ExistenceProbe = std::function<bool(std::int32_t pid)>;
using StartProbe = std::function<std::optional<std::string>(std::int32_t pid)>;

/// Signal 0 reaches the process, or is refused because it is another user's. False for ids below 1.
bool processExists(std::int32_t pid);

/// The start time of a process in UTC, as `ps -o lstart=` reports it in local time, for example
/// "Mon Nov 3 07:05:07 2026". nullopt when `ps` cannot be run, fails, or prints anything else.
std::optional<std::string> processStartUTCString(std::int32_t pid);

/// The same with a way of the caller's own to run `ps`.
std::optional<std::string> processStartUTCString(std::int32_t pid, const ChildProcess::Runner& run);

/// processStartUTCString without a runner, as a value.
inline constexpr auto systemStart = [](std::int32_t pid) { return processStartUTCString(pid); };

/// processStartUTCString's reading of what `ps` printed.
std::optional<std::string> startInPsOutput(std::string_view output);

/// Start times by PID, written as processStartUTCString writes them.
using Starts = std::map<std::int32_t, std::string>;

/// What `ps` says of many processes.
struct PsTable {
    Starts starts;
    std::set<std::int32_t> zombies;  ///< those that have ended, and are kept for their parents to ask about

    friend bool operator==(const PsTable&, const PsTable&) = default;
};

/// What one look at many processes found.
struct ProcessStarts {
    /// Without the processes that `ps` did not list. nullopt when it could not be run, was cut short,
    /// exited with a status above 1, or printed what is not UTF-8: then nothing was measured.
    std::optional<Starts> starts;
    std::set<std::int32_t> zombies;
    /// How the last `ps` ended; nullopt when it could not be run.
    std::optional<ChildProcess::Ending> ending;
};

/// The start times of many processes, by one `ps` for at most 2,000 of them. It prints UTC, so no time is
/// read that local clocks show twice. Processes that do not exist are not asked for; when none of them
/// does, `ps` is not run and counts as exited.
///
/// @param supervision its limit holds for each `ps`
ProcessStarts processStartsUTC(std::span<const std::int32_t> pids,
                               const ChildProcess::Supervision& supervision);

/// processStartsUTC's reading of what `ps -o pid=,stat=,lstart=` printed in UTC; lines of another form are
/// skipped.
PsTable processesInPsTable(std::string_view output);

/// Seconds since the Unix epoch for a start text read as UTC; runs of spaces count as one.
std::optional<std::int64_t> parseCtimeUTC(std::string_view text);

/// Compares to the second, without tolerance; spacing does not matter.
ProcStartComparison compareProcStart(std::string_view declared, std::string_view actual);

/// The verdict for a process with that id and that baseline.
LivenessVerdict verdict(std::int32_t pid, const std::optional<std::string>& procStartRaw,
                        const ExistenceProbe& probeExists, const StartProbe& probeStart);

/// The verdict for one target. `probeStart` is asked only when the process exists and has a baseline.
template <LivenessTarget Target>
LivenessVerdict verdict(const Target& target, const ExistenceProbe& probeExists = processExists,
                        const StartProbe& probeStart = systemStart) {
    return verdict(target.pid, target.procStartRaw, probeExists, probeStart);
}

/// The processes that hold a Unix-domain socket whose name contains "cc-socks", found with `lsof`. nullopt
/// when it cannot be run or prints what is not UTF-8.
std::optional<std::set<std::int32_t>> listeningSocketPIDs();

/// listeningSocketPIDs' reading of what `lsof -F pn` printed; nullopt when it is not UTF-8.
std::optional<std::set<std::int32_t>> socketPIDsInLsofOutput(std::string_view output);

}  // namespace LivenessProbe

}  // namespace brellin
