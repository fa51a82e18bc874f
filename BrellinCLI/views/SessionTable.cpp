#include "BrellinCLI/views/SessionTable.h"

#include "BrellinCLI/views/RelativeTime.h"
#include "BrellinCLI/views/Table.h"
#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/text/DateText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <tuple>
#include <utility>

namespace brellin::cli::SessionTable {

namespace {

constexpr std::array<std::pair<std::string_view, Order>, 7> orders = {{{"state", Order::state},
                                                                       {"name", Order::name},
                                                                       {"account", Order::account},
                                                                       {"status", Order::status},
                                                                       {"pid", Order::pid},
                                                                       {"age", Order::age},
                                                                       {"directory", Order::directory}}};

/// Alive ones first, dead ones last.
int rank(const JudgedSession& session) {
    if (session.verdict.state == Liveness::alive) {
        return session.isZombie ? 1 : 0;
    }
    return session.verdict.state == Liveness::unknown ? 2 : 3;
}

std::string_view sign(const JudgedSession& session) {
    return session.isZombie ? "?" : glyph(session.verdict.state);
}

/// A path below the home as people write it.
std::string withTilde(const std::string& path) {
    const std::string home = AccountScanner::homeDirectory();
    const bool isBelow = path == home || (path.starts_with(home + "/") && home != "/");
    return isBelow ? "~" + path.substr(home.size()) : path;
}

}  // namespace

std::optional<Order> orderFromName(std::string_view name) {
    const auto entry = std::ranges::find(orders, name, &decltype(orders)::value_type::first);
    return entry == orders.end() ? std::nullopt : std::optional(entry->second);
}

std::vector<std::string> orderNames() {
    std::vector<std::string> names;
    names.reserve(orders.size());
    for (const auto& [name, order] : orders) {
        names.emplace_back(name);
    }
    return names;
}

void sort(std::vector<const JudgedSession*>& sessions, Order order, const SessionsNow& now) {
    const auto sortBy = [&](auto keyOf) {
        std::ranges::stable_sort(sessions, {},
                                 [&](const JudgedSession* session) { return keyOf(*session); });
    };
    const auto accountOf = [&](const JudgedSession& session) {
        return now.accountLabel(session.record.accountPath);
    };
    switch (order) {
        case Order::state:
            return sortBy([&](const JudgedSession& session) {
                return std::tuple(rank(session), accountOf(session), session.record.startedAt);
            });
        case Order::name:
            return sortBy(
                [](const JudgedSession& session) { return session.record.name.value_or("\x7F"); });
        case Order::account:
            return sortBy(accountOf);
        case Order::status:
            return sortBy([](const JudgedSession& session) {
                return session.record.reportedStatus.value_or("\x7F");
            });
        case Order::pid:
            return sortBy([](const JudgedSession& session) { return session.record.pid; });
        case Order::age:
            return sortBy([](const JudgedSession& session) { return -session.record.startedAt; });
        case Order::directory:
            return sortBy([](const JudgedSession& session) { return session.record.cwd.value_or("\x7F"); });
    }
}

std::vector<std::string> lines(const std::vector<const JudgedSession*>& sessions, const SessionsNow& now,
                               const Form& form) {
    using Fit = Table::Fit;
    std::vector<Table::Column> columns = {{"STATE"},
                                          {"NAME", Fit::cutEnd},
                                          {"ADDRESS"},
                                          {"ACCOUNT", Fit::drop},
                                          {"STATUS", Fit::drop},
                                          {"PID", Fit::drop, true},
                                          {"AGE", Fit::drop, true},
                                          {"DIRECTORY", Fit::cutMiddle}};
    if (form.isWide) {
        columns.push_back({"STARTED"});
        columns.push_back({"ID"});
    }
    Table table(std::move(columns));
    for (const JudgedSession* session : sessions) {
        const SessionRecord& record = session->record;
        std::vector<std::string> cells = {fmt::format("{} {}", sign(*session), stateWord(*session)),
                                          record.name.value_or("-"),
                                          record.peerRef().value_or("-"),
                                          std::string(now.accountLabel(record.accountPath)),
                                          record.reportedStatus.value_or("-"),
                                          fmt::format("{}", record.pid),
                                          shortAge(form.now - record.startedAt),
                                          record.cwd ? withTilde(*record.cwd) : "-"};
        if (form.isWide) {
            cells.push_back(DateText::timestampLocal(record.startedAt));
            cells.push_back(record.sessionId);
        }
        table.add(std::move(cells));
    }
    return table.lines(form.isWide ? std::nullopt : form.width, form.hasTitles);
}

std::string sums(const std::vector<const JudgedSession*>& sessions) {
    constexpr std::array<std::string_view, 4> words = {"alive", "zombie", "unknown", "stale"};
    std::array<std::size_t, words.size()> counts{};
    std::set<std::string_view> accounts;
    for (const JudgedSession* session : sessions) {
        ++counts.at(static_cast<std::size_t>(rank(*session)));
        accounts.insert(session->record.accountPath);
    }
    std::vector<std::string> parts;
    for (const std::size_t place : {0U, 1U, 3U, 2U}) {
        if (counts.at(place) > 0) {
            parts.push_back(fmt::format("{} {}", counts.at(place), words.at(place)));
        }
    }
    return parts.empty() ? "no session"
                         : fmt::format("{} · {} account{}", fmt::join(parts, ", "), accounts.size(),
                                       accounts.size() == 1 ? "" : "s");
}

}  // namespace brellin::cli::SessionTable
