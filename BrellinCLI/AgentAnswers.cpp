#include "BrellinCLI/AgentAnswers.h"

#include "BrellinCore/platform/Utf8.h"
#include "BrellinCore/reports/Census.h"
#include "BrellinCore/server/MCPServer.h"
#include "BrellinCore/sessions/LivenessProbe.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <optional>
#include <utility>

namespace brellin::cli::AgentAnswers {

namespace json = boost::json;

namespace {

template <typename Value>
void addIfPresent(json::object& object, std::string_view key, const std::optional<Value>& value) {
    if (value) {
        object[key] = *value;
    }
}

json::object factsOf(const SessionRecord& record, std::string_view accountLabel) {
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

json::object factsOf(const ClaudeAccount& account) {
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

void printDocument(const json::object& document) {
    // Names on disk may be any bytes; what a script reads must be JSON.
    print(Utf8::repaired(json::serialize(document)));
}

}  // namespace

ExitStatus printAnswer(std::string_view tool, std::string_view argumentName, const std::string& argument) {
    json::object arguments;
    if (!argumentName.empty()) {
        arguments[argumentName] = argument;
    }
    const ToolResult result = MCPServer().callTool(tool, arguments);
    print(result.text);
    return result.isError ? ExitStatus::failure : ExitStatus::success;
}

ExitStatus printNowAsJson() {
    const Census census = Census::take();
    json::array sessions;
    for (const SessionRecord& record : census.sessions) {
        sessions.push_back(factsOf(record, census.accountLabel(record.accountPath)));
    }
    printDocument({{"accountCount", census.scan.accounts.size()}, {"sessions", std::move(sessions)}});
    return ExitStatus::success;
}

ExitStatus printAccountsAsJson() {
    const Census census = Census::take();
    json::array accounts;
    for (const ClaudeAccount& account : census.scan.accounts) {
        accounts.push_back(factsOf(account));
    }
    json::array caveats(census.scan.caveats.begin(), census.scan.caveats.end());
    printDocument({{"accounts", std::move(accounts)}, {"caveats", std::move(caveats)}});
    return ExitStatus::success;
}

}  // namespace brellin::cli::AgentAnswers
