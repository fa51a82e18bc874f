#include "BrellinCLI/facts/health/RunningPrograms.h"

#include "BrellinCLI/Interrupted.h"
#include "BrellinCore/platform/ChildProcess.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/platform/FilePath.h"
#include "BrellinCore/platform/HomeDirectory.h"
#include "BrellinCore/platform/ProcessTable.h"
#include "BrellinCore/platform/SystemPrograms.h"
#include "BrellinCore/server/Paths.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Decimal.h"
#include "BrellinCore/text/Split.h"

#include <algorithm>

namespace brellin::cli {

namespace {

/// One line of the process table.
struct Row {
    RunningProgram program;
    std::int32_t parent = 0;
    bool isOurs = false;
};

/// A line of `ps -o pid=,ppid=,ruid=,lstart=,command=`; nullopt for one of another form.
std::optional<Row> rowIn(std::string_view line) {
    constexpr std::ptrdiff_t start = 3;
    constexpr std::ptrdiff_t command = start + 5;  // weekday, month, day, time, year
    const std::vector<std::string_view> fields = splitDroppingEmpty(line, " ");
    if (fields.size() <= command) {
        return std::nullopt;
    }
    const auto pid = parseDecimal<std::int32_t>(fields[0]);
    const auto parent = parseDecimal<std::int32_t>(fields[1]);
    const auto user = parseDecimal<std::uint32_t>(fields[2]);
    const auto seconds = DateText::parseProcessStart(
        joinWithSpaces({fields.begin() + start, fields.begin() + command}), DateText::Zone::utc);
    if (!pid || !parent || !user || !seconds) {
        return std::nullopt;
    }
    return Row{{*pid, *seconds * 1000, {fields.begin() + command, fields.end()}},
               *parent,
               *user == ProcessTable::ownUser()};
}

/// How far a time to the second lies outside of a span.
std::int64_t distance(std::int64_t second, std::int64_t from, std::int64_t to) {
    constexpr std::int64_t length = 1000;
    return second + length < from ? second + length - from : std::max<std::int64_t>(0, second - to);
}

std::string failureOf(const std::optional<ChildProcess::SupervisedResult>& ps) {
    const std::string program = SystemPrograms::ps();
    if (ps && ps->ending == ChildProcess::Ending::timedOut) {
        return program + " did not answer within ten seconds";
    }
    return program + (ps ? " does not do what it should" : " cannot be run");
}

}  // namespace

std::string_view RunningProgram::name() const {
    return words.empty() ? std::string_view() : FilePath::lastComponent(words.front());
}

bool RunningProgram::hasWord(std::string_view word) const {
    return std::ranges::find(words, word) != words.end();
}

std::optional<std::string> RunningProgram::valueOf(std::string_view option) const {
    const std::string beginning = std::string(option) + "=";
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (word->starts_with(beginning)) {
            return word->substr(beginning.size());
        }
        if (*word == option && word + 1 != words.end()) {
            return *(word + 1);
        }
    }
    return std::nullopt;
}

std::optional<std::filesystem::path> RunningProgram::dataDirectory() const {
    const auto environment = ProcessTable::environmentOf(pid);
    if (!environment) {
        return std::nullopt;
    }
    const auto root = environment->find("HAVRICK_ROOT");
    if (root != environment->end() && !root->second.empty()) {
        const bool isAnchored = root->second.starts_with('/') || root->second.starts_with('~');
        return isAnchored ? std::optional(Paths::root(*environment)) : std::nullopt;
    }
    const auto home = environment->find("HOME");
    const bool isNamed = home != environment->end() && home->second.starts_with('/');
    return Paths::defaultRoot(isNamed ? home->second : homeDirectory());
}

bool RunningProgram::isOfThisHome() const {
    const auto environment = ProcessTable::environmentOf(pid).value_or(Environment());
    const auto home = environment.find("HOME");
    return home == environment.end() || FilePath::normalize(home->second) == homeDirectory();
}

RunningPrograms RunningPrograms::take(const StopRequest& stop) {
    const std::int64_t before = Clock::now();
    const auto ps = ChildProcess::supervise(
        SystemPrograms::ps(), {"-A", "-ww", "-o", "pid=,ppid=,ruid=,lstart=,command="},
        {.stop = &stop, .variables = {{"LC_ALL", "C"}, {"TZ", "UTC0"}}});
    const std::int64_t after = Clock::now();
    if (stop.hasArrived()) {
        throw Interrupted();
    }
    RunningPrograms programs{.failure = failureOf(ps), .havrick = {}, .clockError = {}};
    const std::string output = ps ? ps->result.output : "";  // the lines refer to it
    for (const std::string_view line : splitDroppingEmpty(output, "\n")) {
        auto row = rowIn(line);
        if (!row) {
            continue;
        }
        if (row->parent == ProcessTable::ownPid()) {
            programs.clockError = distance(row->program.startedAt, before, after);
        }
        if (row->program.pid == ProcessTable::ownPid()) {
            programs.failure.reset();
        } else if (row->isOurs &&
                   (row->program.name() == "havrick" || row->program.name() == "havrick-mcp")) {
            programs.havrick.push_back(std::move(row->program));
        }
    }
    return programs;
}

const RunningProgram* RunningPrograms::withPid(std::int32_t pid) const {
    const auto program = std::ranges::find(havrick, pid, &RunningProgram::pid);
    return program == havrick.end() ? nullptr : &*program;
}

}  // namespace brellin::cli
