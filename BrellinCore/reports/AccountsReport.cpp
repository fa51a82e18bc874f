#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/server/MCPServer.h"

#include <fmt/ranges.h>

#include <utility>
#include <vector>

namespace brellin {

namespace {

std::string flags(const ClaudeAccount& account) {
    std::vector<std::string_view> words;
    if (account.isDefault) {
        words.emplace_back("default");
    }
    if (account.isActiveForThisProcess) {
        words.emplace_back("active for the current process");
    }
    if (!account.existsOnDisk) {
        words.emplace_back("NO DIRECTORY");
    }
    return words.empty() ? std::string() : fmt::format("  ({})", fmt::join(words, ", "));
}

std::string sourceWords(const ClaudeAccount& account) {
    std::vector<std::string_view> words;
    for (const ClaudeAccount::Source source : account.sources) {
        words.push_back(rawValue(source));  // the set is sorted by these words
    }
    return fmt::format("{}", fmt::join(words, ", "));
}

}  // namespace

std::string MCPServer::renderAccounts() {
    const AccountScan scan = AccountScanner::scan(std::nullopt, processEnvironment());
    ReportText report;
    report.line("{} entries:", scan.accounts.size());
    report.emptyLine();
    for (const ClaudeAccount& account : scan.accounts) {
        report.line("{} — {}{}", account.label, account.path, flags(account));
        report.line("    sources: {}", sourceWords(account));
        report.line("    identity: {}", valueOr(account.identityEmail, unknownWord));
    }
    report.emptyLine();
    report.line("What this enumeration does NOT cover:");
    for (const std::string& caveat : scan.caveats) {
        report.line("  · {}", caveat);
    }
    return std::move(report).take();
}

}  // namespace brellin
