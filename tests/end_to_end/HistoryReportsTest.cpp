#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/platform/DateText.h"
#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/store/Reconciler.h"
#include "tests/world/Database.h"
#include "tests/world/Program.h"
#include "tests/world/ServerDialogue.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <thread>
#include <vector>

namespace brellin {

namespace {

/// A home with two accounts, whose sessions run in one real process, and a data directory.
class HistoryReports : public testing::Test {
  protected:
    const world::TemporaryDirectory home_;
    const world::LiveProcess process_;
    const std::string root_ = home_ / "data";
    Environment environment_ = {{"HOME", home_.path()}, {"HAVRICK_ROOT", root_}};

    /// Declares a session; `members` are JSON with single quotes, each ending in a comma.
    void declare(std::string_view account, std::string_view id, std::string_view members) const {
        home_.write(fmt::format("{}/sessions/{}.json", account, id),
                    world::singleQuoted(fmt::format("{{{}'sessionId':'{}','pid':{},'startedAt':1772373909123}}",
                                                    members, id, process_.pid())));
    }
    std::string alive() const { return fmt::format("'procStart':'{}',", process_.procStart()); }

    /// What a recorder would write at that moment.
    void record(std::int64_t now) const {
        const auto scan = AccountScanner::scan(home_.path(), {});
        Store store(root_);
        Reconciler(store).reconcile(SessionRegistry::allRecords(scan.accounts), scan.accounts, now);
    }
    ToolResult ask(std::string_view tool, std::string_view argument) const {
        return world::callTool(environment_, tool, argument);
    }
    bool storeExists() const { return std::filesystem::exists(root_); }
};

std::string refOf(const std::string& socket) {
    return *SessionRecord{.socketPath = socket}.peerRef();
}

const std::string closingRemark =
    "Brellin does NOT deliver the message itself. Delivery would require reading `<pid>.<hash>.key` (0600, "
    "`peerToken`) and reimplementing an undocumented, versioned protocol (`peerProtocol: 1`). Of eight apps that "
    "touch `/tmp/cc-socks`, zero write to it. What was missing was never the transport — it was knowing who the "
    "target is NOW.";

}  // namespace

TEST_F(HistoryReports, FollowASessionThroughItsNames) {
    const std::string s = refOf("/s");
    const std::string t = refOf("/t");
    constexpr std::int64_t start = 1772373909123;
    declare(".claude", "abc-1", "'cwd':'/w','name':'one','nameSource':'derived','messagingSocketPath':'/s',");
    declare(".claude", "abc-2", "'name':'other','messagingSocketPath':'/o',");
    record(start);
    declare(".claude", "abc-1", "'cwd':'/w','name':'two','messagingSocketPath':'/s',");
    record(start + 60000);
    declare(".claude", "abc-1", "'cwd':'/w','name':'three','messagingSocketPath':'/t',");
    std::filesystem::remove(home_ / ".claude/sessions/abc-2.json");
    record(start + 120000);

    EXPECT_EQ(ask("havrick_who", "abc"),
              (ToolResult{fmt::format("three [{1}]\n"
                                      "  sessionId : abc-1\n"
                                      "  account   : {2}/.claude\n"
                                      "  cwd       : /w\n"
                                      "  pid       : {3}\n"
                                      "  started   : 2026-03-01 14:05:09 +0000\n"
                                      "  name      : three (set explicitly)\n"
                                      "  ref       : {1}\n"
                                      "\n"
                                      "  Name history:\n"
                                      "    one [{0}] — until 2026-03-01 14:06:09 +0000\n"
                                      "    two [{0}] — until 2026-03-01 14:07:09 +0000\n"
                                      "    three [{1}] — current\n"
                                      "\n"
                                      "  Events:\n"
                                      "    seen (observed) — first observation · account {2}/.claude\n"
                                      "    renamed (observed) — one → two · ref unchanged ({0}) · source: explicit\n"
                                      "    reincarnated (inferred) — two [{0}] → three [{1}] · a new process; the "
                                      "old address no longer delivers",
                                      s, t, home_.path(), process_.pid()),
                          false}));
    std::string address = "three [" + t + "]";
    const auto expired = [&](const std::string& query, std::string_view until) {
        EXPECT_EQ(ask("havrick_resolve", query), (ToolResult{fmt::format("`{}` has EXPIRED (valid until {}).\n"
                                                                         "  The same session now answers to: {}\n"
                                                                         "  sessionId (stable): abc-1",
                                                                         query, until, address),
                                                             false}));
    };
    expired("one", "2026-03-01 14:06:09 +0000");
    expired(s, "2026-03-01 14:06:09 +0000");
    expired("two", "2026-03-01 14:07:09 +0000");
    EXPECT_EQ(ask("havrick_resolve", t),
              (ToolResult{"`" + t + "` currently delivers to three [" + t + "]\n  sessionId: abc-1\n  cwd      : /w",
                          false}));
    EXPECT_EQ(ask("havrick_resolve", "other"),
              (ToolResult{"`other` is not the address of any currently declared session and does not appear in known "
                          "history. It may be a session closed before Brellin began observing.",
                          true}))
        << "only declared sessions are searched";

    declare(".claude", "abc-1", "");
    address = "abc-1";
    expired("three", "current");
}

TEST_F(HistoryReports, LeaveTheStoreAloneWhenTheyNeedNone) {
    declare(".claude", "abc", "'name':'n',");
    EXPECT_EQ(ask("havrick_resolve", "n").text,
              "`n` currently delivers to abc\n  sessionId: abc\n  cwd      : unknown");
    EXPECT_EQ(ask("havrick_who", "b"),
              (ToolResult{"No declared session whose id starts with `b`. A closed session no longer has a registry "
                          "entry — its history stays in the store, but the short address CANNOT be reconstructed (it "
                          "is a function of the PID).",
                          true}));
    EXPECT_EQ(ask("havrick_send", "b"),
              (ToolResult{"No declared session whose id starts with `b`.\nIf it was alive and no longer is, its "
                          "registry entry vanished with the process — and the short address CANNOT be reconstructed, "
                          "being a function of the PID.",
                          true}));
    EXPECT_EQ(ask("havrick_send", "abc"),
              (ToolResult{"Target n is NOT alive: unknown via kill(pid,0).\n  no procStart baseline — PID recycling "
                          "cannot be ruled out\nA message sent now would not be delivered.",
                          true}));
    declare(".claude", "abc", alive() + "'name':'n',");
    EXPECT_EQ(ask("havrick_send", "abc"),
              (ToolResult{"The target is alive but has no name in the registry — so it has no delivery address. "
                          "sessionId: abc",
                          true}));
    EXPECT_FALSE(storeExists());
    EXPECT_TRUE(ask("havrick_resolve", "N").isError);
    EXPECT_TRUE(storeExists());
}

TEST_F(HistoryReports, PrepareASendWithinAndAcrossAccounts) {
    const std::string ref = refOf("/s");
    declare(".claude-work", "w", alive() + "'name':'n','messagingSocketPath':'/s',");
    const std::string head = fmt::format(
        "The target is ALIVE. Send it yourself, with SendMessage:\n\n"
        "    SendMessage({{ to: \"n [{}]\", message: \"…\" }})\n\n"
        "  sessionId (the stable key) : w\n"
        "  account                    : work\n"
        "  cwd                        : unknown\n"
        "  liveness                   : alive via kill(pid,0) + procStart\n\n",
        ref);
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
    EXPECT_EQ(ask("havrick_send", "w"), (ToolResult{head + closingRemark, false}));
    EXPECT_EQ(world::sql(root_,
                         "SELECT sessionId, detail, certainty, abs(at - 1000 * strftime('%s')) < 60000 FROM "
                         "events WHERE kind='send_prepared' ORDER BY id"),
              fmt::format("w|address resolved: n [{0}] · across an account boundary|observed|1\n"
                          "w|address resolved: n [{0}]|observed|1",
                          ref));
    EXPECT_TRUE(ask("havrick_who", "w").text.ends_with("send_prepared (observed) — address resolved: n [" + ref + "]"));
}

TEST_F(HistoryReports, AnswerWithoutAUsableStore) {
    declare(".claude", "abc", alive() + "'name':'n','messagingSocketPath':'/s',");
    record(1);
    declare(".claude", "abc", alive() + "'name':'m','messagingSocketPath':'/s',");
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

    struct Case {
        std::string root;
        bool opens;
    };
    home_.makeDirectory("taken/havrick.db");
    home_.write("garbage/havrick.db", std::string(5000, 'x'));
    for (const Case& each : {Case{home_.write("file", ""), false}, Case{home_ / "taken", false},
                             Case{"/proc/none", false}, Case{home_ / "garbage", true}}) {
        environment_["HAVRICK_ROOT"] = each.root;
        EXPECT_EQ(ask("havrick_who", "abc"), (ToolResult{identity, false})) << each.root;
        EXPECT_EQ(ask("havrick_send", "abc"), send) << each.root;
        EXPECT_EQ(ask("havrick_resolve", "n").text,
                  each.opens ? "`n` is not the address of any currently declared session and does not appear in known "
                               "history. It may be a session closed before Brellin began observing."
                             : "`n` is not the address of any currently declared session, and the history store is "
                               "unavailable, so it cannot say whether it ever was.")
            << each.root;
    }
}

TEST_F(HistoryReports, EightServersPrepareSendsAtOnce) {
    declare(".claude", "abc", alive() + "'name':'n','messagingSocketPath':'/s',");
    record(1);
    const ToolResult expected = ask("havrick_send", "abc");
    std::vector<std::thread> hosts;
    for (int host = 0; host < 8; ++host) {
        hosts.emplace_back([&] {
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
