#include "BrellinCLI/facts/health/RecorderHealth.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/platform/FileLock.h"
#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/text/Duration.h"
#include "BrellinCore/watch/WatchList.h"

#include <fmt/format.h>

#include <cstdint>
#include <string>

namespace brellin::cli::RecorderHealth {

namespace {

using Level = Finding::Level;

constexpr std::string_view topic = "recorder";

/// One of the two jobs that write into the history again and again.
struct Job {
    const char* lock;
    std::string_view subject;  ///< what it records
    std::string_view command;  ///< what starts it
    std::optional<std::int64_t> lastRound;
};

std::string holderText(std::int32_t pid, const RunningProgram* program, std::int64_t now) {
    if (pid == 0) {
        return "a process of another container";
    }
    return program == nullptr
               ? fmt::format("process {}", pid)
               : fmt::format("process {}, started {},", pid, timeSince(program->startedAt, now));
}

/// Whether a recorder that should look in steps of some length has missed some.
bool isLate(const RunningProgram* program, const std::optional<std::int64_t>& lastRound, std::int64_t now) {
    constexpr std::int64_t minute = 60'000;
    const auto every = program == nullptr ? std::nullopt : program->valueOf("--every");
    const auto step = every ? Duration::parse(*every) : std::nullopt;
    return step && lastRound && program->startedAt + step->count() + minute < now &&
           *lastRound + 3 * step->count() + minute < now;
}

Finding heldFinding(const Job& job, std::int32_t pid, const RunningPrograms& programs) {
    const std::int64_t now = Clock::now();
    const RunningProgram* program = programs.withPid(pid);
    const std::string last =
        job.lastRound ? "; the last round was " + timeSince(*job.lastRound, now) : ", nothing so far";
    const std::string text =
        fmt::format("{} records {}{}", holderText(pid, program, now), job.subject, last);
    if (isLate(program, job.lastRound, now)) {
        return {topic, Level::warning, text + ", and others have been due since",
                "see what it says, in its terminal or the journal of the service"};
    }
    return {topic, Level::ok, text, ""};
}

/// A timer may start a recorder now and then, so a recent round is good enough.
Finding idleFinding(const Job& job) {
    constexpr std::int64_t recent = 3'600'000;
    const std::int64_t now = Clock::now();
    const std::string last = job.lastRound ? "; the last round was " + timeSince(*job.lastRound, now) : "";
    const std::string text = fmt::format("nobody records {} now{}", job.subject, last);
    if (job.lastRound && now - *job.lastRound < recent) {
        return {topic, Level::ok, text, ""};
    }
    return {topic, Level::warning, text, std::string(job.command)};
}

std::optional<std::int32_t> holderOf(const Job& job) {
    return FileLock::holderOf((DataDirectory::path() / job.lock).string());
}

Finding jobFinding(const Job& job, const RunningPrograms& programs) {
    const auto holder = holderOf(job);
    return holder ? heldFinding(job, *holder, programs) : idleFinding(job);
}

Finding pruningFinding(const std::optional<std::int32_t>& holder, const RunningPrograms& programs) {
    const RunningProgram* program = programs.withPid(holder.value_or(0));
    if (program == nullptr) {
        return {topic, Level::ok,
                "whether old observations are removed is not known: no recorder's command line is seen",
                ""};
    }
    const auto keep = program->valueOf("--keep");
    return {topic, Level::ok,
            keep ? fmt::format("observations older than {} are removed once a day", *keep)
                 : "observations are kept for ever: the recorder has no --keep",
            ""};
}

/// Recorders of this home that write elsewhere.
std::vector<Finding> strangerFindings(const RunningPrograms& programs) {
    std::vector<Finding> findings;
    for (const RunningProgram& program : programs.havrick) {
        const bool records = program.hasWord("record") || program.hasWord("--record");
        const auto directory = records && program.isOfThisHome() ? program.dataDirectory() : std::nullopt;
        if (directory && !DataDirectory::isAt(*directory)) {
            findings.push_back(
                {topic, Level::warning,
                 fmt::format("process {} records into {}, which is not the data directory of this command",
                             program.pid, directory->string()),
                 "set HAVRICK_ROOT to one directory for the recorder, the hosts and your shell, or for none "
                 "of them"});
        }
    }
    return findings;
}

}  // namespace

std::vector<Finding> find(const RunningPrograms& programs,
                          const std::optional<HistoryReader::Extent>& extent) {
    const Job sessions{DataFiles::recorderLock, "sessions",
                       "`havrick record --every 30`, or the service havrick-record",
                       extent ? extent->lastRound : std::nullopt};
    const Job targets{DataFiles::watchRecorderLock, "watched targets",
                      "`havrick watch scan --record --every 60`",
                      extent ? extent->lastWatchRound : std::nullopt};
    std::vector<Finding> findings;
    const auto recorder = holderOf(sessions);
    if (recorder || extent) {  // otherwise it was said already that nobody has recorded
        findings.push_back(jobFinding(sessions, programs));
        findings.push_back(pruningFinding(recorder, programs));
    }
    if (!WatchList::load(DataDirectory::path()).list.targets.empty()) {
        findings.push_back(jobFinding(targets, programs));
    }
    for (Finding& stranger : strangerFindings(programs)) {
        findings.push_back(std::move(stranger));
    }
    return findings;
}

}  // namespace brellin::cli::RecorderHealth
