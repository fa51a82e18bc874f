#include "BrellinCLI/HistoryCommand.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/server/Paths.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/watch/TargetReconciler.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace brellin::cli::HistoryCommand {

namespace {

void appendIdentity(ReportText& text, const StoredSession& session) {
    std::string_view place = session.accountPath;
    text.line("{}", session.sessionId);
    if (place.starts_with(TargetReconciler::labelPrefix)) {
        place.remove_prefix(TargetReconciler::labelPrefix.size());
        text.line("  watched : {}", place);
    } else {
        text.line("  account : {}", place);
        text.line("  cwd     : {}", valueOr(session.cwd, unknownWord));
    }
    text.line("  seen    : {} to {}", DateText::timestampUTC(session.firstSeen),
              DateText::timestampUTC(session.lastSeen));
}

void appendNames(ReportText& text, const std::vector<NameWindow>& windows) {
    if (!windows.empty()) {
        text.line("  Names:");
    }
    for (const NameWindow& window : windows) {
        text.line("    {} to {} — {} [{}]", DateText::timestampUTC(window.from),
                  window.to ? DateText::timestampUTC(*window.to) : "now", window.name,
                  valueOr(window.ref, "?"));
    }
}

void appendEvents(ReportText& text, const std::vector<StoredEvent>& events) {
    if (!events.empty()) {
        text.line("  Events:");
    }
    for (const StoredEvent& event : events) {
        text.line("    {} — {} ({}) — {}", DateText::timestampUTC(event.at), event.kind, event.certainty,
                  valueOr(event.detail, ""));
    }
}

/// Appends every entry whose id begins with the prefix, a blank line between two; how many there were.
std::size_t appendEntries(ReportText& text, const Store& store, const std::string& idPrefix) {
    std::size_t count = 0;
    for (const StoredSession& session : store.sessions()) {
        if (!session.sessionId.starts_with(idPrefix)) {
            continue;
        }
        if (count++ > 0) {
            text.emptyLine();
        }
        appendIdentity(text, session);
        appendNames(text, store.nameHistory(session.sessionId));
        appendEvents(text, store.events(session.sessionId));
    }
    return count;
}

}  // namespace

ExitStatus show(const std::string& idPrefix) {
    const std::filesystem::path database = Paths::database(DataDirectory::path());
    std::error_code error;
    if (!std::filesystem::exists(database, error)) {
        printError(
            error ? fmt::format("the history {} cannot be read: {}", database.string(), error.message())
                  : fmt::format("there is no history yet: {} does not exist (`havrick record` writes it)",
                                database.string()));
        return ExitStatus::failure;
    }
    ReportText text;
    std::size_t shown = 0;
    DataDirectory::readStore([&](const Store& store) { shown = appendEntries(text, store, idPrefix); });
    if (shown == 0) {
        printError(idPrefix.empty()
                       ? fmt::format("the history {} holds nothing yet", database.string())
                       : fmt::format("the history holds nothing whose id begins with \"{}\"", idPrefix));
        return ExitStatus::failure;
    }
    print(std::move(text).take());
    return ExitStatus::success;
}

}  // namespace brellin::cli::HistoryCommand
