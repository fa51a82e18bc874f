#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/store/Reconciler.h"
#include "BrellinCore/text/DateText.h"
#include "tests/world/Household.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <filesystem>
#include <thread>
#include <vector>

namespace brellin {

namespace {

class HistoryReports : public world::Household {
  protected:
    /// What a recorder would write at that moment.
    void record(std::int64_t now) const {
        const auto scan = AccountScanner::scan(home_.path(), {});
        Store store(root_);
        Reconciler(store).reconcile(SessionRegistry::allRecords(scan.accounts), scan.accounts, now);
    }
};

std::string notInHistory(const std::string& query) {
    return "`" + query +
           "` is not the address of any currently declared session and does not appear in known history. "
           "It may be a session closed before Brellin began observing.";
}

const std::string closingRemark =
    "Brellin does NOT deliver the message itself. Delivery would require reading `<pid>.<hash>.key` (0600, "
    "`peerToken`) and reimplementing an undocumented, versioned protocol (`peerProtocol: 1`). Of eight apps that "
    "touch `/tmp/cc-socks`, zero write to it. What was missing was never the transport — it was knowing who the "
    "target is NOW.";

}  // namespace

// printf 'session:/s' | sha256sum gives the digits of a short address, 59c7ba; those of /t are 1895c5.

TEST_F(HistoryReports, FollowASessionThroughItsNames) {
    constexpr std::int64_t start = 1772373909123;
    declare(".claude", "abc-1", "'cwd':'/w','name':'one','nameSource':'derived','messagingSocketPath':'/s',");
    declare(".claude", "abc-2", "'name':'other','messagingSocketPath':'/o',");
    record(start);
    declare(".claude", "abc-1", "'cwd':'/w','name':'two','messagingSocketPath':'/s',");
    record(start + 60000);
    declare(".claude", "abc-1", "'cwd':'/w','name':'three','messagingSocketPath':'/t',");
    std::filesystem::remove(home_ / ".claude/sessions/abc-2.json");
    record(start + 120000);

    const std::string who = fmt::format(
        "three [1895c5]\n"
        "  sessionId : abc-1\n"
        "  account   : {0}/.claude\n"
        "  cwd       : /w\n"
        "  pid       : {1}\n"
        "  started   : 2026-03-01 14:05:09 +0000\n"
        "  name      : three (set explicitly)\n"
        "  ref       : 1895c5\n"
        "\n"
        "  Name history:\n"
        "    one [59c7ba] — until 2026-03-01 14:06:09 +0000\n"
        "    two [59c7ba] — until 2026-03-01 14:07:09 +0000\n"
        "    three [1895c5] — current\n"
        "\n"
        "  Events:\n"
        "    seen (observed) — first observation · account {0}/.claude\n"
        "    renamed (observed) — one → two · ref unchanged (59c7ba) · source: explicit\n"
        "    reincarnated (inferred) — two [59c7ba] → three [1895c5] · a new process; the old address no longer "
        "delivers",
        home_.path(), process_.pid());
    expect("havrick_who", "abc", who);
    std::string address = "three [1895c5]";
    const auto expired = [&](const std::string& query, std::string_view until) {
        expect("havrick_resolve", query,
               fmt::format("`{}` has EXPIRED (valid until {}).\n  The same session now answers to: {}\n"
                           "  sessionId (stable): abc-1",
                           query, until, address));
    };
    expired("one", "2026-03-01 14:06:09 +0000");
    expired("59c7ba", "2026-03-01 14:06:09 +0000");
    expired("two", "2026-03-01 14:07:09 +0000");
    expect("havrick_resolve", "1895c5",
           "`1895c5` currently delivers to three [1895c5]\n  sessionId: abc-1\n  cwd      : /w");
    expect("havrick_resolve", "other", notInHistory("other"), true);  // only declared sessions are searched

    declare(".claude", "abc-1", "");
    address = "abc-1";
    expired("three", "current");
}

TEST_F(HistoryReports, LeaveTheStoreAloneWhenTheyNeedNone) {
    declare(".claude", "abc", "'name':'n',");
    expect("havrick_resolve", "n", "`n` currently delivers to abc\n  sessionId: abc\n  cwd      : unknown");
    expect("havrick_who", "b",
           "No declared session whose id starts with `b`. A closed session no longer has a registry entry — its "
           "history stays in the store, but the short address CANNOT be reconstructed (it is a function of the PID).",
           true);
    expect("havrick_send", "b",
           "No declared session whose id starts with `b`.\nIf it was alive and no longer is, its registry entry "
           "vanished with the process — and the short address CANNOT be reconstructed, being a function of the PID.",
           true);
    expect("havrick_send", "abc",
           "Target n is NOT alive: unknown via kill(pid,0).\n  no procStart baseline — PID recycling cannot be ruled "
           "out\nA message sent now would not be delivered.",
           true);
    declare(".claude", "abc", alive() + "'name':'n',");
    expect("havrick_send", "abc",
           "The target is alive but has no name in the registry — so it has no delivery address. sessionId: abc", true);
    EXPECT_FALSE(std::filesystem::exists(root_));
    EXPECT_TRUE(ask("havrick_resolve", "N").isError);
    EXPECT_TRUE(std::filesystem::exists(root_));
}

TEST_F(HistoryReports, PrepareASendWithinAndAcrossAccounts) {
    declare(".claude-work", "w", reachable() + "'name':'n',");
    const std::string head =
        "The target is ALIVE. Send it yourself, with SendMessage:\n\n"
        "    SendMessage({ to: \"n [59c7ba]\", message: \"…\" })\n\n"
        "  sessionId (the stable key) : w\n"
        "  account                    : work\n"
        "  cwd                        : unknown\n"
        "  liveness                   : alive via kill(pid,0) + procStart\n\n";
    const std::string warning =
        "⚠ The target is on account `work`, you are on `main`. `ListAgents` shows YOUR account's registry, so this "
        "session does not appear there. If delivery fails with \"No agent named\", the cause is the account boundary, "
        "not a wrong address — the address above was just verified.\n\n";
    const ToolResult across = {head + warning + closingRemark, false};
    EXPECT_EQ(ask("havrick_send", "w"), across) << "no row for the session: the event is refused, the answer stays";
    EXPECT_EQ(world::sql(root_, "SELECT count(*) FROM events"), "0");
    record(1);
    EXPECT_EQ(ask("havrick_send", "w"), across);
    environment_["CLAUDE_CONFIG_DIR"] = "~/.claude-work/";
    expect("havrick_send", "w", head + closingRemark);
    EXPECT_EQ(world::sql(root_,
                         "SELECT sessionId, detail, certainty, abs(at - 1000 * strftime('%s')) < 60000 FROM "
                         "events WHERE kind='send_prepared' ORDER BY id"),
              "w|address resolved: n [59c7ba] · across an account boundary|observed|1\n"
              "w|address resolved: n [59c7ba]|observed|1");
}

TEST_F(HistoryReports, AnswerWithoutAUsableStore) {
    declare(".claude", "abc", reachable() + "'name':'n',");
    record(1);
    declare(".claude", "abc", reachable() + "'name':'m',");
    record(60000);
    const std::string who = ask("havrick_who", "abc").text;
    const std::string identity = who.substr(0, who.find("\n\n"));
    const ToolResult send = ask("havrick_send", "abc");
    const ToolResult expired = ask("havrick_resolve", "n");

    sqlite3* other = nullptr;
    ASSERT_EQ(::sqlite3_open((root_ + "/havrick.db").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(::sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_TRUE(ask("havrick_who", "abc").text.starts_with(who)) << "a reader needs no lock";
    EXPECT_EQ(ask("havrick_send", "abc"), send);
    EXPECT_EQ(ask("havrick_resolve", "n"), expired);
    ::sqlite3_close(other);

    home_.makeDirectory("taken/havrick.db");
    home_.write("garbage/havrick.db", std::string(5000, 'x'));
    const std::string storeless =
        "`n` is not the address of any currently declared session, and the history store is unavailable, so it cannot "
        "say whether it ever was.";
    for (const auto& [root, resolved] : {std::pair{home_.write("file", ""), storeless},
                                         {home_ / "taken", storeless},
                                         {"/proc/none", storeless},
                                         {home_ / "garbage", notInHistory("n")}}) {
        environment_["HAVRICK_ROOT"] = root;
        expect("havrick_who", "abc", identity);
        EXPECT_EQ(ask("havrick_send", "abc"), send) << root;
        expect("havrick_resolve", "n", resolved, true);
    }
}

TEST_F(HistoryReports, EightServersPrepareSendsAtOnce) {
    declare(".claude", "abc", reachable() + "'name':'n',");
    record(1);
    const ToolResult expected = ask("havrick_send", "abc");
    std::vector<std::thread> hosts(8);
    for (std::thread& host : hosts) {
        host = std::thread([&] {
            for (int call = 0; call < 5; ++call) {
                EXPECT_EQ(ask("havrick_send", "abc"), expected);
            }
        });
    }
    for (std::thread& host : hosts) {
        host.join();
    }
    EXPECT_EQ(world::sql(root_, "PRAGMA integrity_check"), "ok");
}

}  // namespace brellin
