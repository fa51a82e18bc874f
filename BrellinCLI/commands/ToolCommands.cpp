#include "BrellinCLI/commands/ToolCommands.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCLI/commands/HistoryCommand.h"
#include "BrellinCLI/facts/JsonFields.h"
#include "BrellinCLI/facts/SessionsNow.h"
#include "BrellinCLI/facts/Whom.h"
#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/server/MCPServer.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <optional>
#include <utility>

namespace brellin::cli::ToolCommands {

namespace json = boost::json;

namespace {

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

ExitStatus statusOf(const ToolResult& result) {
    return result.isError ? ExitStatus::failure : ExitStatus::success;
}

/// Prints a tool's text, or with `asJson` the text and whether it is an error, and facts beside them.
void printResult(const ToolResult& result, json::object facts, bool asJson) {
    if (!asJson) {
        print(result.text);
        return;
    }
    facts["text"] = result.text;
    facts["isError"] = result.isError;
    printDocument(facts);
}

/// Finds out whom somebody means, and asks a tool about that one by its whole id.
ExitStatus printAboutOne(std::string_view tool, const std::string& whom, bool asJson) {
    const StopRequest stop;
    const SessionsNow now = SessionsNow::take(&stop);
    if (Whom::fitting(whom, now).empty()) {
        HistoryCommand::reportFormerCarriers(whom);
    }
    const JudgedSession& session = Whom::one(whom, now);
    const ToolResult result = MCPServer().callTool(tool, {{"sessionId", session.record.sessionId}});
    printResult(result, {{"session", toJson(session, now.accountLabel(session.record.accountPath))}},
                asJson);
    return statusOf(result);
}

}  // namespace

ExitStatus printReport(std::string_view tool) {
    print(MCPServer().callTool(tool, {}).text);
    return ExitStatus::success;
}

ExitStatus who(const std::string& whom, bool asJson) {
    return printAboutOne("havrick_who", whom, asJson);
}

ExitStatus send(const std::string& whom, bool asJson) {
    DataDirectory::requireToBeOurs();  // it leaves a note in the history
    return printAboutOne("havrick_send", whom, asJson);
}

ExitStatus resolve(const std::string& nameOrRef, bool asJson) {
    const ToolResult result = MCPServer().callTool("havrick_resolve", {{"query", nameOrRef}});
    printResult(result, {}, asJson);
    if (result.isError) {
        HistoryCommand::reportFormerCarriers(nameOrRef);
    }
    return statusOf(result);
}

ExitStatus printNowAsJson() {
    const SessionsNow now = SessionsNow::take();
    if (now.failure) {
        printError(*now.failure);
    }
    printDocument(toJson(now));
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
