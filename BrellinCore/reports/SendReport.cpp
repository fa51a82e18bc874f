#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/reports/HistoryStore.h"
#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/reports/Snapshot.h"
#include "BrellinCore/server/MCPServer.h"
#include "BrellinCore/sessions/LivenessProbe.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace brellin {

namespace {

/// The version of the peer protocol that the closing remark names.
constexpr int peerProtocol = 1;

ToolResult notFound(const std::string& sessionId) {
    ReportText report;
    report.line("No declared session whose id starts with `{}`.", sessionId);
    report.line(
        "If it was alive and no longer is, its registry entry vanished with the "
        "process — and the short address CANNOT be reconstructed, being a "
        "function of the PID.");
    return {std::move(report).take(), true};
}

ToolResult notAlive(const SessionRecord& target, const LivenessVerdict& verdict) {
    ReportText report;
    report.line("Target {} is NOT alive: {} via {}.", valueOr(target.name, target.sessionId),
                rawValue(verdict.state), verdict.method);
    if (verdict.diagnostic) {
        report.line("  {}", *verdict.diagnostic);
    }
    report.line("A message sent now would not be delivered.");
    return {std::move(report).take(), true};
}

ToolResult noAddress(const SessionRecord& target) {
    return {fmt::format("The target is alive but has no name in the registry — so it has no delivery "
                        "address. sessionId: {}",
                        target.sessionId),
            true};
}

/// The account that this process runs under: the active one, else the default one; nullptr when the scan
/// has neither.
const ClaudeAccount* callersAccount(const std::vector<ClaudeAccount>& accounts) {
    for (const auto flag : {&ClaudeAccount::isActiveForThisProcess, &ClaudeAccount::isDefault}) {
        const auto account = std::ranges::find(accounts, true, flag);
        if (account != accounts.end()) {
            return &*account;
        }
    }
    return nullptr;
}

/// Leaves the audit trace. A store that cannot be written must not spoil the answer.
void recordPreparedSend(const SessionRecord& target, const std::string& address, bool crossesAccounts) {
    const std::int64_t now = Clock::now();
    const auto store = HistoryStore::open();
    if (!store) {
        return;
    }
    try {
        store->appendEvent(target.sessionId, "send_prepared",
                           fmt::format("address resolved: {}{}", address,
                                       crossesAccounts ? " · across an account boundary" : ""),
                           "observed", now);
    } catch (const std::exception&) {
        return;
    }
}

}  // namespace

ToolResult MCPServer::renderSend(const std::string& sessionId) {
    const Snapshot snapshot = Snapshot::take();
    const SessionRecord* target = snapshot.sessionWithIdPrefix(sessionId);
    if (target == nullptr) {
        return notFound(sessionId);
    }
    const LivenessVerdict verdict = LivenessProbe::verdict(*target);
    if (verdict.state != Liveness::alive) {
        return notAlive(*target, verdict);
    }
    const auto address = target->peerAddress();
    if (!address) {
        return noAddress(*target);
    }
    const ClaudeAccount* caller = callersAccount(snapshot.scan.accounts);
    const bool crossesAccounts = caller == nullptr || caller->path != target->accountPath;
    const std::string_view targetLabel = snapshot.accountLabel(target->accountPath);

    ReportText report;
    report.line("The target is ALIVE. Send it yourself, with SendMessage:");
    report.emptyLine();
    report.line("    SendMessage({{ to: \"{}\", message: \"…\" }})", *address);
    report.emptyLine();
    report.line("  sessionId (the stable key) : {}", target->sessionId);
    report.line("  account                    : {}", targetLabel);
    report.line("  cwd                        : {}", valueOr(target->cwd, unknownWord));
    report.line("  liveness                   : {} via {}", rawValue(verdict.state), verdict.method);
    if (crossesAccounts) {
        report.emptyLine();
        report.line(
            "⚠ The target is on account `{}`, you are on `{}`. `ListAgents` shows YOUR "
            "account's registry, so this session does not appear there. If "
            "delivery fails with \"No agent named\", the cause is the account "
            "boundary, not a wrong address — the address above was just verified.",
            targetLabel, caller == nullptr ? unknownWord : std::string_view(caller->label));
    }
    report.emptyLine();
    report.line(
        "Brellin does NOT deliver the message itself. Delivery would require reading `<pid>.<hash>.key` (0600, "
        "`peerToken`) and reimplementing an undocumented, versioned protocol (`peerProtocol: {}`). Of eight apps "
        "that touch `/tmp/cc-socks`, zero write to it. What was missing was never the transport — it was knowing "
        "who the target is NOW.",
        peerProtocol);
    recordPreparedSend(*target, *address, crossesAccounts);
    return {std::move(report).take(), false};
}

}  // namespace brellin
