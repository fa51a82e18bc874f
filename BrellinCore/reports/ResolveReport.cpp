#include "BrellinCore/reports/HistoryStore.h"
#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/reports/Snapshot.h"
#include "BrellinCore/server/MCPServer.h"
#include "BrellinCore/text/DateText.h"

#include <utility>

namespace brellin {

namespace {

std::string currentAddress(const SessionRecord& record) {
    return record.peerAddress().value_or(record.sessionId);
}

ToolResult liveAnswer(const std::string& query, const SessionRecord& record) {
    ReportText report;
    report.line("`{}` currently delivers to {}", query, currentAddress(record));
    report.line("  sessionId: {}", record.sessionId);
    report.line("  cwd      : {}", valueOr(record.cwd, unknownWord));
    return {std::move(report).take(), false};
}

ToolResult expiredAnswer(const std::string& query, const NameWindow& window, const SessionRecord& record) {
    ReportText report;
    report.line("`{}` has EXPIRED (valid until {}).", query,
                window.to ? DateText::timestampUTC(*window.to) : "current");
    report.line("  The same session now answers to: {}", currentAddress(record));
    report.line("  sessionId (stable): {}", record.sessionId);
    return {std::move(report).take(), false};
}

/// The session's first name window that the query matches, by name or by short address.
std::optional<NameWindow> matchingWindow(const Store& store, const SessionRecord& record,
                                         const std::string& query) {
    for (NameWindow& window : store.nameHistory(record.sessionId)) {
        if (window.name == query || window.ref == query) {
            return std::move(window);
        }
    }
    return std::nullopt;
}

}  // namespace

ToolResult MCPServer::renderResolve(const std::string& query) {
    const Snapshot snapshot = Snapshot::take();
    const bool mayBeRef = query.size() == SessionRecord::peerRefLength;
    for (const SessionRecord& record : snapshot.sessions) {
        if (record.name == query || (mayBeRef && record.peerRef() == query)) {
            return liveAnswer(query, record);
        }
    }
    const auto store = HistoryStore::open();
    if (!store) {
        return {fmt::format("`{}` is not the address of any currently declared session, and "
                            "the history store is unavailable, so it cannot say whether it ever was.",
                            query),
                true};
    }
    for (const SessionRecord& record : snapshot.sessions) {
        if (const auto window = matchingWindow(*store, record, query)) {
            return expiredAnswer(query, *window, record);
        }
    }
    return {fmt::format("`{}` is not the address of any currently declared session and does not "
                        "appear in known history. It may be a session closed before Brellin began "
                        "observing.",
                        query),
            true};
}

}  // namespace brellin
