#include "BrellinCore/reports/HistoryStore.h"
#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/reports/Snapshot.h"
#include "BrellinCore/server/MCPServer.h"
#include "BrellinCore/text/DateText.h"

#include <utility>

namespace brellin {

namespace {

void appendIdentity(ReportText& report, const SessionRecord& record) {
    report.line("{}", record.peerAddress().value_or(record.sessionId));
    report.line("  sessionId : {}", record.sessionId);
    report.line("  account   : {}", record.accountPath);
    report.line("  cwd       : {}", valueOr(record.cwd, unknownWord));
    report.line("  pid       : {}", record.pid);
    report.line("  started   : {}", DateText::timestampUTC(record.startedAt));
    report.line("  name      : {} ({})", valueOr(record.name, unknownWord),
                valueOr(record.nameSource, "set explicitly"));
    report.line("  ref       : {}", valueOr(record.peerRef(), unknownWord));
}

void appendNameHistory(ReportText& report, const std::vector<NameWindow>& windows) {
    // A single window says no more than the identity does.
    if (windows.size() < 2) {
        return;
    }
    report.emptyLine();
    report.line("  Name history:");
    for (const NameWindow& window : windows) {
        report.line("    {} [{}] — {}", window.name, valueOr(window.ref, "?"),
                    window.to ? "until " + DateText::timestampUTC(*window.to) : "current");
    }
}

void appendEvents(ReportText& report, const std::vector<StoredEvent>& events) {
    if (events.empty()) {
        return;
    }
    report.emptyLine();
    report.line("  Events:");
    for (const StoredEvent& event : events) {
        report.line("    {} ({}) — {}", event.kind, event.certainty, valueOr(event.detail, ""));
    }
}

}  // namespace

ToolResult MCPServer::renderWho(const std::string& sessionId) {
    const Snapshot snapshot = Snapshot::take();
    const SessionRecord* record = snapshot.sessionWithIdPrefix(sessionId);
    ReportText report;
    if (record == nullptr) {
        report.line(
            "No declared session whose id starts with `{}`. "
            "A closed session no longer has a registry entry — its history stays in "
            "the store, but the short address CANNOT be reconstructed (it is a "
            "function of the PID).",
            sessionId);
        return {std::move(report).take(), true};
    }
    appendIdentity(report, *record);
    if (const auto store = HistoryStore::open()) {
        appendNameHistory(report, store->nameHistory(record->sessionId));
        appendEvents(report, store->events(record->sessionId));
    }
    return {std::move(report).take(), false};
}

}  // namespace brellin
