#include "BrellinCLI/facts/Verdicts.h"

#include "BrellinCLI/Interrupted.h"
#include "BrellinCore/sessions/LivenessProbe.h"

#include <cstdint>
#include <utility>

namespace brellin::cli {

namespace {

std::vector<std::int32_t> processesWithBaseline(const std::vector<SessionRecord>& records) {
    std::vector<std::int32_t> pids;
    for (const SessionRecord& record : records) {
        if (record.procStartRaw) {
            pids.push_back(record.pid);
        }
    }
    return pids;
}

}  // namespace

Verdicts Verdicts::on(std::vector<SessionRecord> records, const StopRequest* stop) {
    const auto processes = LivenessProbe::processStartsUTC(processesWithBaseline(records), {.stop = stop});
    if (stop != nullptr && stop->hasArrived()) {
        throw Interrupted();
    }
    Verdicts verdicts;
    if (!processes.starts) {
        verdicts.failure = processes.ending == ChildProcess::Ending::timedOut
                               ? "ps did not answer within ten seconds; verdicts that need it are unknown"
                               : "ps cannot be run; verdicts that need it are unknown";
    }
    const LivenessProbe::Starts starts = processes.starts.value_or(LivenessProbe::Starts());
    const auto startOf = [&](std::int32_t pid) {
        const auto start = starts.find(pid);
        return start == starts.end() ? std::nullopt : std::optional(start->second);
    };
    for (SessionRecord& record : records) {
        LivenessVerdict verdict = LivenessProbe::verdict(record, LivenessProbe::processExists, startOf);
        const bool isZombie = verdict.state != Liveness::stale && processes.zombies.contains(record.pid);
        verdicts.sessions.push_back({std::move(record), std::move(verdict), isZombie});
    }
    return verdicts;
}

}  // namespace brellin::cli
