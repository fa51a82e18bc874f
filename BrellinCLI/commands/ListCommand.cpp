#include "BrellinCLI/commands/ListCommand.h"

#include "BrellinCLI/RepeatAtInterval.h"
#include "BrellinCLI/facts/JsonFields.h"
#include "BrellinCLI/facts/SessionsNow.h"
#include "BrellinCLI/facts/Whom.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/platform/FilePath.h"
#include "BrellinCore/platform/NamePattern.h"
#include "BrellinCore/platform/StandardOutput.h"

#include <boost/json/array.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <vector>

namespace brellin::cli::ListCommand {

namespace {

bool isInOrBelow(const std::string& path, const std::string& directory) {
    return path == directory || directory == "/" || path.starts_with(directory + "/");
}

bool isWanted(const JudgedSession& session, const SessionsNow& now, const Options& options) {
    const SessionRecord& record = session.record;
    if (options.account && record.accountPath != *options.account &&
        now.accountLabel(record.accountPath) != *options.account) {
        return false;
    }
    if (options.state && stateWord(session) != *options.state) {
        return false;
    }
    if (options.name && !(record.name && fitsNamePattern(*options.name, *record.name))) {
        return false;
    }
    return !options.directory || (record.cwd && isInOrBelow(FilePath::normalize(*record.cwd),
                                                            FilePath::normalize(*options.directory)));
}

std::vector<const JudgedSession*> wanted(const SessionsNow& now, const Options& options) {
    std::vector<const JudgedSession*> sessions;
    for (const JudgedSession& session : now.sessions) {
        if (isWanted(session, now, options)) {
            sessions.push_back(&session);
        }
    }
    SessionTable::sort(sessions, options.order, now);
    if (options.isReversed) {
        std::ranges::reverse(sessions);
    }
    return sessions;
}

void printIds(const std::vector<const JudgedSession*>& sessions) {
    std::vector<std::string_view> ids;
    ids.reserve(sessions.size());
    for (const JudgedSession* session : sessions) {
        ids.push_back(session->record.sessionId);
    }
    if (!ids.empty()) {
        print(fmt::format("{}", fmt::join(ids, "\n")));
    }
}

void printJson(const std::vector<const JudgedSession*>& sessions, const SessionsNow& now) {
    boost::json::array facts;
    for (const JudgedSession* session : sessions) {
        facts.push_back(toJson(*session, now.accountLabel(session->record.accountPath)));
    }
    printDocument({{"accountCount", now.accounts.size()}, {"sessions", std::move(facts)}});
}

void printTable(const std::vector<const JudgedSession*>& sessions, const SessionsNow& now,
                const Options& options) {
    const SessionTable::Form form{.width = StandardOutput::columns(),
                                  .hasTitles = options.hasTitles,
                                  .isWide = options.isWide,
                                  .now = Clock::now()};
    std::vector<std::string> lines;
    if (!sessions.empty()) {
        lines = SessionTable::lines(sessions, now, form);
    }
    lines.push_back(SessionTable::sums(sessions));
    print(fmt::format("{}", fmt::join(lines, "\n")));
}

void printOnce(const Options& options, const StopRequest& stop) {
    const SessionsNow now = SessionsNow::take(&stop);
    if (now.failure) {
        printError(*now.failure);
    }
    const auto sessions = wanted(now, options);
    if (options.asJson) {
        printJson(sessions, now);
    } else if (options.idsAlone) {
        printIds(sessions);
    } else {
        printTable(sessions, now, options);
    }
}

}  // namespace

ExitStatus list(const Options& options) {
    const StopRequest stop;
    repeatAtInterval(stop, options.every, [&] { printOnce(options, stop); });
    return ExitStatus::success;
}

ExitStatus isAlive(const std::string& whom, bool isQuiet, bool asJson) {
    const StopRequest stop;
    const SessionsNow now = SessionsNow::take(&stop);
    const JudgedSession& session = Whom::one(whom, now);
    const std::string_view state = stateWord(session);
    if (asJson) {
        printDocument(toJson(session, now.accountLabel(session.record.accountPath)));
    } else if (!isQuiet) {
        const std::string reason =
            session.verdict.diagnostic ? fmt::format(" ({})", *session.verdict.diagnostic) : "";
        print(fmt::format("{}{}", state, reason));
    }
    if (session.verdict.state == Liveness::unknown) {
        return ExitStatus::undecided;
    }
    return state == rawValue(Liveness::alive) ? ExitStatus::success : ExitStatus::failure;
}

}  // namespace brellin::cli::ListCommand
