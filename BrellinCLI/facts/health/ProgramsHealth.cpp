#include "BrellinCLI/facts/health/ProgramsHealth.h"

#include "BrellinCore/platform/ChildProcess.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/platform/ProcessTable.h"
#include "BrellinCore/platform/SystemPrograms.h"
#include "BrellinCore/server/BrellinVersion.h"
#include "BrellinCore/text/JsonReader.h"
#include "BrellinCore/text/Split.h"

#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <optional>
#include <system_error>

namespace brellin::cli::ProgramsHealth {

namespace {

using Level = Finding::Level;

constexpr std::string_view topic = "programs";

Finding psFinding(const RunningPrograms& programs) {
    if (!programs.failure) {
        return {topic, Level::ok, fmt::format("{} tells when processes started", SystemPrograms::ps()), ""};
    }
    return {topic, Level::error, *programs.failure + ": no session's verdict can be \"alive\"",
            "install `procps`, or allow it where a sandbox forbids it"};
}

/// Verdicts compare two times of `ps`; where its clock is not ours, a session's own declaration differs.
std::optional<Finding> clockFinding(const RunningPrograms& programs) {
    constexpr std::int64_t tolerance = 2000;
    if (!programs.clockError) {
        return std::nullopt;
    }
    const std::int64_t error = *programs.clockError;
    if (error >= -tolerance && error <= tolerance) {
        return Finding{topic, Level::ok, "the clock agrees with ps about a process started just now", ""};
    }
    return Finding{topic, Level::error,
                   fmt::format("ps says of a process started just now that it started {} s {}: start times "
                               "cannot be trusted",
                               std::abs(error) / 1000, error < 0 ? "ago" : "from now"),
                   "the clock was set, or stood still, since the machine started: restart the machine (or "
                   "the container), then the sessions"};
}

Finding lsofFinding(const StopRequest& stop) {
    const std::string pid = std::to_string(ProcessTable::ownPid());
    const auto lsof =
        ChildProcess::supervise(SystemPrograms::lsof(), {"-nP", "-p", pid, "-Fp"}, {.stop = &stop});
    if (lsof && lsof->result.output.starts_with("p" + pid)) {
        return {topic, Level::ok, fmt::format("{} tells who has what open", SystemPrograms::lsof()), ""};
    }
    const std::string_view what = lsof ? "does not do what it should" : "cannot be run";
    return {topic, Level::warning,
            fmt::format("{} {}: only watched ports need it", SystemPrograms::lsof(), what),
            "install `lsof` to watch ports"};
}

bool isExecutable(const std::filesystem::path& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    constexpr auto any = std::filesystem::perms::owner_exec | std::filesystem::perms::group_exec |
                         std::filesystem::perms::others_exec;
    return !error && std::filesystem::is_regular_file(status) &&
           (status.permissions() & any) != std::filesystem::perms::none;
}

/// The server beside this executable, or else the one that PATH names first.
std::optional<std::string> serverExecutable(const std::optional<std::string>& own) {
    constexpr const char* name = "havrick-mcp";
    std::vector<std::filesystem::path> places;
    if (own) {
        places.push_back(std::filesystem::path(*own).parent_path());
    }
    const Environment environment = processEnvironment();
    if (const auto path = environment.find("PATH"); path != environment.end()) {
        for (const std::string_view directory : splitDroppingEmpty(path->second, ":")) {
            places.emplace_back(directory);
        }
    }
    for (const std::filesystem::path& place : places) {
        if (place.is_absolute() && isExecutable(place / name)) {
            return (place / name).string();
        }
    }
    return std::nullopt;
}

/// What a server answers when it is asked who it is. It has no options, so it is asked as a host would; the
/// shell gives it a standard input of its own.
std::optional<std::string> versionOf(const std::string& server, const StopRequest& stop) {
    constexpr const char* script =
        R"(printf '%s\n' '{"jsonrpc":"2.0","id":1,"method":"initialize","params":{}}' | "$0")";
    const auto run = ChildProcess::supervise("/bin/sh", {"-c", script, server}, {.stop = &stop});
    std::optional<std::string> version;
    const auto members = std::to_array<JsonReader::Member>({{"version", &version, "result.serverInfo"}});
    if (run) {
        JsonReader::read(run->result.output, members);
    }
    return version;
}

Finding executablesFinding(const StopRequest& stop) {
    const auto own = ProcessTable::ownExecutable();
    const std::string ours = fmt::format("{} {}", own.value_or("havrick"), BrellinVersion::current);
    const auto server = serverExecutable(own);
    if (!server) {
        return {topic, Level::warning,
                ours + ", but no havrick-mcp: it is neither beside this executable nor in PATH",
                "install both from one package"};
    }
    const auto version = versionOf(*server, stop);
    if (!version) {
        return {topic, Level::warning, fmt::format("{}, and {}, which does not answer", ours, *server),
                "install both from one package"};
    }
    if (*version != BrellinVersion::current) {
        return {topic, Level::warning, fmt::format("{}, but {} {}", ours, *server, *version),
                "install both from one package"};
    }
    return {topic, Level::ok, fmt::format("{}, and {} of the same version", ours, *server), ""};
}

}  // namespace

std::vector<Finding> find(const RunningPrograms& programs, const StopRequest& stop) {
    std::vector<Finding> findings = {psFinding(programs)};
    if (auto clock = clockFinding(programs)) {
        findings.push_back(std::move(*clock));
    }
    findings.push_back(lsofFinding(stop));
    findings.push_back(executablesFinding(stop));
    return findings;
}

}  // namespace brellin::cli::ProgramsHealth
