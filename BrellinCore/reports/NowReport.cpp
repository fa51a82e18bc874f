#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/reports/Snapshot.h"
#include "BrellinCore/server/MCPServer.h"
#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/text/Utf8.h"

#include <set>
#include <utility>

namespace brellin {

namespace {

/// What a session is called in its first line. A name is never shown without its short address.
std::string heading(const SessionRecord& record) {
    constexpr std::size_t shownIdLength = 8;
    return record.peerAddress().value_or(std::string(Utf8::prefix(record.sessionId, shownIdLength)));
}

void appendSession(ReportText& report, const SessionRecord& record, std::string_view accountLabel) {
    const LivenessVerdict verdict = LivenessProbe::verdict(record);
    report.line("{} {}", glyph(verdict.state), heading(record));
    report.line("    account {} · pid {} · {}", accountLabel, record.pid,
                valueOr(record.cwd, "working dir unknown"));
    report.line("    liveness: {} via {} · reported: {}", rawValue(verdict.state), verdict.method,
                valueOr(record.reportedStatus, unknownWord));
    if (verdict.diagnostic) {
        report.line("    ⚠ {}", *verdict.diagnostic);
    }
    if (record.name && !record.nameSource) {
        report.line("    name set explicitly — it does not regenerate on its own");
    }
    report.line("    sessionId: {}", record.sessionId);
}

}  // namespace

std::string MCPServer::renderNow() {
    const Snapshot snapshot = Snapshot::take();
    constexpr std::size_t usualSizePerSession = 320;
    ReportText report(snapshot.sessions.size() * usualSizePerSession);
    if (snapshot.sessions.empty()) {
        report.line(
            "No declared session across the {} accounts found. "
            "An empty `sessions/` directory is a normal state, not an error.",
            snapshot.scan.accounts.size());
        return std::move(report).take();
    }
    std::set<std::string_view> accountsWithSessions;
    for (const SessionRecord& record : snapshot.sessions) {
        accountsWithSessions.insert(record.accountPath);
    }
    report.line("{} declared sessions across {} accounts:", snapshot.sessions.size(),
                accountsWithSessions.size());
    report.emptyLine();
    for (const SessionRecord& record : snapshot.sessions) {
        appendSession(report, record, snapshot.accountLabel(record.accountPath));
    }
    return std::move(report).take();
}

}  // namespace brellin
