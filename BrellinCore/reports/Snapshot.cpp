#include "BrellinCore/reports/Snapshot.h"

#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/sessions/SessionRegistry.h"

#include <algorithm>
#include <utility>

namespace brellin {

Snapshot Snapshot::take(AccountScanner::Identities identities) {
    AccountScan scan = AccountScanner::scan(std::nullopt, processEnvironment(), identities);
    auto sessions = SessionRegistry::allRecords(scan.accounts);
    return {std::move(scan), std::move(sessions)};
}

std::string_view Snapshot::accountLabel(std::string_view accountPath) const {
    const auto account = std::ranges::find(scan.accounts, accountPath, &ClaudeAccount::path);
    return account == scan.accounts.end() ? "?" : std::string_view(account->label);
}

const SessionRecord* Snapshot::sessionWithIdPrefix(std::string_view prefix) const {
    const auto session = std::ranges::find_if(
        sessions, [&](const SessionRecord& record) { return record.sessionId.starts_with(prefix); });
    return session == sessions.end() ? nullptr : &*session;
}

}  // namespace brellin
