#include "BrellinCLI/facts/SessionsNow.h"

#include "BrellinCLI/facts/JsonFields.h"
#include "BrellinCore/reports/Snapshot.h"

#include <boost/json/array.hpp>

#include <algorithm>
#include <utility>

namespace brellin::cli {

SessionsNow SessionsNow::take(const StopRequest* stop) {
    Snapshot snapshot = Snapshot::take();
    Verdicts verdicts = Verdicts::on(std::move(snapshot.sessions), stop);
    return {std::move(snapshot.scan.accounts), std::move(verdicts.sessions), std::move(verdicts.failure)};
}

std::string_view SessionsNow::accountLabel(const std::string& accountPath) const {
    const auto account = std::ranges::find(accounts, accountPath, &ClaudeAccount::path);
    return account == accounts.end() ? "?" : std::string_view(account->label);
}

std::string_view stateWord(const JudgedSession& session) {
    return session.isZombie ? "zombie" : rawValue(session.verdict.state);
}

boost::json::object toJson(const JudgedSession& session, std::string_view accountLabel) {
    const SessionRecord& record = session.record;
    boost::json::object facts = {
        {"sessionId", record.sessionId}, {"pid", record.pid}, {"accountPath", record.accountPath}};
    addIfPresent(facts, "cwd", record.cwd);
    addTime(facts, "startedAt", record.startedAt);
    addIfPresent(facts, "procStartRaw", record.procStartRaw);
    addIfPresent(facts, "socketPath", record.socketPath);
    addIfPresent(facts, "name", record.name);
    addIfPresent(facts, "nameSource", record.nameSource);
    if (record.nameSince) {
        addTime(facts, "nameSince", *record.nameSince);
    }
    addIfPresent(facts, "reportedStatus", record.reportedStatus);
    addIfPresent(facts, "version", record.version);
    addIfPresent(facts, "peerRef", record.peerRef());
    addIfPresent(facts, "peerAddress", record.peerAddress());
    facts["accountLabel"] = accountLabel;
    boost::json::object verdict = {{"state", rawValue(session.verdict.state)},
                                   {"method", session.verdict.method}};
    addIfPresent(verdict, "diagnostic", session.verdict.diagnostic);
    facts["verdict"] = std::move(verdict);
    facts["isZombie"] = session.isZombie;
    return facts;
}

boost::json::object toJson(const SessionsNow& now) {
    boost::json::array sessions;
    for (const JudgedSession& session : now.sessions) {
        sessions.push_back(toJson(session, now.accountLabel(session.record.accountPath)));
    }
    return {{"accountCount", now.accounts.size()}, {"sessions", std::move(sessions)}};
}

}  // namespace brellin::cli
