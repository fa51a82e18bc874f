#include "BrellinCLI/facts/SessionLook.h"

#include "BrellinCLI/Interrupted.h"
#include "BrellinCLI/facts/Verdicts.h"
#include "BrellinCLI/views/Output.h"
#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/platform/FileSystem.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

namespace brellin::cli {

namespace {

using Session = Chronicle::Session;

/// Marks the account's sessions as unread, and those of unlisted accounts when this is the home's own.
void markUnread(const ClaudeAccount& account, Chronicle::Round& round) {
    round.unreadAccounts.insert(account.path);
    round.isHomeUnread = round.isHomeUnread || (account.isDefault && !account.existsOnDisk);
}

/// The accounts of this moment.
Chronicle::Round scanAccounts() {
    Chronicle::Round round;
    const std::string home = AccountScanner::homeDirectory();
    round.accounts = AccountScanner::scan(home, processEnvironment()).accounts;
    round.isHomeUnread = !FileSystem::listDirectory(home) && !FileSystem::isMissing(home);
    return round;
}

/// Whether of two declarations of one session the left one is to be believed.
bool isBetter(const Session& left, const Session& right) {
    const auto rank = [](const Session& session) {
        const Liveness state = session.verdict.state;
        const int likelihood = state == Liveness::alive ? 2 : state == Liveness::unknown ? 1 : 0;
        return std::tuple(likelihood, session.record.startedAt);
    };
    return rank(left) > rank(right);
}

/// The history keeps a text up to its first NUL, so that is what is compared with it.
void cutTexts(SessionRecord& record) {
    const auto cut = [](std::string& text) { text.resize(std::min(text.find('\0'), text.size())); };
    cut(record.sessionId);
    for (auto* text : {&record.cwd, &record.name, &record.nameSource, &record.reportedStatus}) {
        if (*text) {
            cut(**text);
        }
    }
}

}  // namespace

Chronicle::Round SessionLook::take(const DeclaredSessions& expected) {
    Sight sight = lookAgainWhileTorn(expected);
    knownNonSessions_ = std::move(sight.filesWithoutOne);
    Chronicle::Round round = std::move(sight.round);
    round.sessions = onePerId(verdictsOn(std::move(sight.records)));
    if (round.isHomeUnread) {
        tell(
            "the home directory cannot be listed; sessions of accounts that only it names keep their state");
    }
    for (const std::string& account : round.unreadAccounts) {
        tell(fmt::format("{}/sessions cannot be listed; its sessions keep their state", account));
    }
    return round;
}

SessionLook::Sight SessionLook::lookAgainWhileTorn(const DeclaredSessions& expected) {
    constexpr int repetitions = 3;
    constexpr std::chrono::milliseconds pause(100);
    Sight sight = look();
    for (int repetition = 0; repetition < repetitions && !isWhole(sight, expected); ++repetition) {
        if (stop_.arrivesWithin(pause)) {
            throw Interrupted();
        }
        sight = look();
    }
    return sight;
}

SessionLook::Sight SessionLook::look() {
    Sight sight{.round = scanAccounts()};
    for (const ClaudeAccount& account : sight.round.accounts) {
        SessionRegistry::Survey survey = SessionRegistry::survey(account.path);
        std::ranges::move(survey.records, std::back_inserter(sight.records));
        std::ranges::move(survey.filesWithoutOne,
                          std::inserter(sight.filesWithoutOne, sight.filesWithoutOne.end()));
        if (!survey.isListed) {
            markUnread(account, sight.round);
        }
    }
    std::ranges::for_each(sight.records, cutTexts);
    return sight;
}

/// Whether everybody who is expected was found, and every file was understood that may ever be.
bool SessionLook::isWhole(const Sight& sight, const DeclaredSessions& expected) const {
    std::set<std::string> found;
    for (const SessionRecord& record : sight.records) {
        found.insert(record.sessionId);
    }
    const bool isSomebodyMissing = std::ranges::any_of(expected, [&](const auto& session) {
        return !found.contains(session.first) && sight.round.reads(session.second);
    });
    return !isSomebodyMissing && std::ranges::includes(knownNonSessions_, sight.filesWithoutOne);
}

std::vector<Session> SessionLook::verdictsOn(std::vector<SessionRecord> records) {
    Verdicts verdicts = Verdicts::on(std::move(records), &stop_);
    if (verdicts.failure) {
        tell(*verdicts.failure);
    }
    std::vector<Session> sessions;
    for (JudgedSession& session : verdicts.sessions) {
        sessions.push_back({std::move(session.record), std::move(session.verdict)});
    }
    return sessions;
}

std::vector<Session> SessionLook::onePerId(std::vector<Session> sessions) {
    std::vector<Session> kept;
    std::map<std::string, std::size_t> places;
    for (Session& session : sessions) {
        const auto [place, isNew] = places.emplace(session.record.sessionId, kept.size());
        if (isNew) {
            kept.push_back(std::move(session));
            continue;
        }
        Session& other = kept[place->second];
        if (isBetter(session, other)) {
            std::swap(session, other);
        }
        tell(fmt::format("session {} is declared twice: {} with PID {} counts, {} with PID {} does not",
                         other.record.sessionId, other.record.accountPath, other.record.pid,
                         session.record.accountPath, session.record.pid));
    }
    return kept;
}

void SessionLook::tell(const std::string& text) {
    if (told_.insert(text).second) {
        printError(text);
    }
}

}  // namespace brellin::cli
