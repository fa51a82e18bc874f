#include "BrellinCLI/facts/health/AccountsHealth.h"

#include "BrellinCLI/Interrupted.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/sessions/SessionRegistry.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <string>

namespace brellin::cli::AccountsHealth {

namespace {

using Level = Finding::Level;
using Source = ClaudeAccount::Source;

/// All registries at one moment.
struct Registries {
    std::vector<SessionRecord> records;
    std::vector<std::string> filesWithoutOne;
    std::vector<std::string> unlisted;
    std::int64_t accounts = 0;
};

Registries read(const AccountScan& scan) {
    Registries all;
    for (const ClaudeAccount& account : scan.accounts) {
        if (!account.existsOnDisk) {
            continue;
        }
        ++all.accounts;
        SessionRegistry::Survey survey = SessionRegistry::survey(account.path);
        std::ranges::move(survey.records, std::back_inserter(all.records));
        std::ranges::move(survey.filesWithoutOne, std::back_inserter(all.filesWithoutOne));
        if (!survey.isListed) {
            all.unlisted.push_back(account.path + "/sessions");
        }
    }
    return all;
}

/// A file may just be written, so what seems damaged is looked at again.
Registries readAgainWhileTorn(const AccountScan& scan, const StopRequest& stop) {
    constexpr int repetitions = 3;
    constexpr std::chrono::milliseconds pause(100);
    Registries all = read(scan);
    for (int look = 0; look < repetitions && !all.filesWithoutOne.empty(); ++look) {
        if (stop.arrivesWithin(pause)) {
            throw Interrupted();
        }
        all = read(scan);
    }
    return all;
}

std::string_view describe(Source source) {
    switch (source) {
        case Source::defaultHome:
            return "the default";
        case Source::environment:
            return "by CLAUDE_CONFIG_DIR";
        case Source::alias:
            return "by an alias";
        case Source::orphanDirectory:
            return "by its name";
    }
    return "";
}

std::string nameAndSources(const ClaudeAccount& account) {
    std::vector<std::string_view> sources;
    std::ranges::transform(account.sources, std::back_inserter(sources), describe);
    return fmt::format("{} ({})", account.label, fmt::join(sources, ", "));
}

std::vector<Finding> accountFindings(const AccountScan& scan) {
    std::vector<std::string> accounts;
    std::ranges::transform(scan.accounts, std::back_inserter(accounts), nameAndSources);
    std::vector<Finding> findings = {
        {"accounts", Level::ok, fmt::format("found {}", fmt::join(accounts, ", ")), ""}};
    for (const std::string& caveat : scan.caveats) {
        // The last one holds on every machine.
        const bool isStanding = &caveat == &scan.caveats.back();
        findings.push_back({"accounts", isStanding ? Level::ok : Level::warning, caveat,
                            isStanding ? "" : "`havrick accounts` shows what was covered"});
    }
    return findings;
}

Finding fileFinding(const std::string& file) {
    const bool isReadable = FileSystem::readFile(file).has_value();
    return {"sessions", Level::warning,
            isReadable ? file +
                             " declares no session: it is not whole, or not JSON with sessionId, pid and "
                             "startedAt"
                       : file + " cannot be read",
            isReadable ? fmt::format("if no session is just writing it: `rm {}`", shellQuoted(file))
                       : fmt::format("`ls -l {}` shows whose it is", shellQuoted(file))};
}

/// The first few, and how many more there are.
std::vector<Finding> fileFindings(const std::vector<std::string>& files) {
    constexpr std::size_t most = 5;
    std::vector<Finding> findings;
    for (const std::string& file : files) {
        if (findings.size() == most) {
            findings.push_back({"sessions", Level::warning,
                                fmt::format("and {} more such files", files.size() - most),
                                "`havrick doctor` names the next ones when these are gone"});
            break;
        }
        findings.push_back(fileFinding(file));
    }
    return findings;
}

std::vector<Finding> repeatedFindings(const std::vector<SessionRecord>& records) {
    std::vector<Finding> findings;
    std::map<std::string_view, const SessionRecord*> known;
    for (const SessionRecord& record : records) {
        const auto [first, isNew] = known.emplace(record.sessionId, &record);
        if (!isNew) {
            findings.push_back(
                {"sessions", Level::warning,
                 fmt::format("{} is declared twice: in {} with PID {}, and in {} with PID {}",
                             record.sessionId, first->second->accountPath, first->second->pid,
                             record.accountPath, record.pid),
                 "delete the file of the dead process; `havrick list` shows which that is"});
        }
    }
    return findings;
}

}  // namespace

std::vector<Finding> find(const AccountScan& scan, const StopRequest& stop) {
    std::vector<Finding> findings = accountFindings(scan);
    const Registries all = readAgainWhileTorn(scan, stop);
    findings.push_back({"sessions", Level::ok,
                        fmt::format("{} read, of {}", counted(std::ssize(all.records), "session file"),
                                    counted(all.accounts, "account")),
                        ""});
    for (const std::string& directory : all.unlisted) {
        findings.push_back({"sessions", Level::error,
                            directory + " cannot be listed: its sessions cannot be seen",
                            fmt::format("`chmod u+rx {}`, if it is yours", shellQuoted(directory))});
    }
    std::ranges::move(fileFindings(all.filesWithoutOne), std::back_inserter(findings));
    std::ranges::move(repeatedFindings(all.records), std::back_inserter(findings));
    return findings;
}

}  // namespace brellin::cli::AccountsHealth
