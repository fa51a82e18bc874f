#include "BrellinCLI/ToolCommands.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCLI/JsonFields.h"
#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/reports/Snapshot.h"
#include "BrellinCore/server/MCPServer.h"
#include "BrellinCore/sessions/LivenessProbe.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <optional>
#include <utility>

namespace brellin::cli::ToolCommands {

namespace json = boost::json;

namespace {

json::object toJson(const SessionRecord& record, std::string_view accountLabel) {
    json::object facts = {
        {"sessionId", record.sessionId}, {"pid", record.pid}, {"accountPath", record.accountPath}};
    addIfPresent(facts, "cwd", record.cwd);
    facts["startedAt"] = record.startedAt;
    addIfPresent(facts, "procStartRaw", record.procStartRaw);
    addIfPresent(facts, "socketPath", record.socketPath);
    addIfPresent(facts, "name", record.name);
    addIfPresent(facts, "nameSource", record.nameSource);
    addIfPresent(facts, "nameSince", record.nameSince);
    addIfPresent(facts, "reportedStatus", record.reportedStatus);
    addIfPresent(facts, "version", record.version);
    addIfPresent(facts, "peerRef", record.peerRef());
    addIfPresent(facts, "peerAddress", record.peerAddress());
    facts["accountLabel"] = accountLabel;
    const LivenessVerdict verdict = LivenessProbe::verdict(record);
    json::object verdictFacts = {{"state", rawValue(verdict.state)}, {"method", verdict.method}};
    addIfPresent(verdictFacts, "diagnostic", verdict.diagnostic);
    facts["verdict"] = std::move(verdictFacts);
    return facts;
}

json::object toJson(const ClaudeAccount& account) {
    json::array sources;
    for (const ClaudeAccount::Source source : account.sources) {
        sources.emplace_back(rawValue(source));
    }
    json::object facts = {{"path", account.path},
                          {"label", account.label},
                          {"sources", std::move(sources)},
                          {"isDefault", account.isDefault},
                          {"isActiveForThisProcess", account.isActiveForThisProcess},
                          {"existsOnDisk", account.existsOnDisk}};
    addIfPresent(facts, "identityEmail", account.identityEmail);
    return facts;
}

}  // namespace

ExitStatus printAnswer(std::string_view tool, std::string_view argumentName, const std::string& argument) {
    if (tool == "havrick_send") {
        DataDirectory::requireToBeOurs();  // it leaves a note in the history
    }
    json::object arguments;
    if (!argumentName.empty()) {
        arguments[argumentName] = argument;
    }
    const ToolResult result = MCPServer().callTool(tool, arguments);
    print(result.text);
    return result.isError ? ExitStatus::failure : ExitStatus::success;
}

ExitStatus printNowAsJson() {
    const Snapshot snapshot = Snapshot::take();
    json::array sessions;
    for (const SessionRecord& record : snapshot.sessions) {
        sessions.push_back(toJson(record, snapshot.accountLabel(record.accountPath)));
    }
    printDocument({{"accountCount", snapshot.scan.accounts.size()}, {"sessions", std::move(sessions)}});
    return ExitStatus::success;
}

ExitStatus printAccountsAsJson() {
    const AccountScan scan = AccountScanner::scan(std::nullopt, processEnvironment());
    json::array accounts;
    for (const ClaudeAccount& account : scan.accounts) {
        accounts.push_back(toJson(account));
    }
    json::array caveats(scan.caveats.begin(), scan.caveats.end());
    printDocument({{"accounts", std::move(accounts)}, {"caveats", std::move(caveats)}});
    return ExitStatus::success;
}

}  // namespace brellin::cli::ToolCommands
