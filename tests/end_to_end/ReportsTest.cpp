#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/store/Reconciler.h"
#include "tests/world/Household.h"

#include <sqlite3.h>

namespace brellin {

namespace {

class Reports : public world::Household {
  protected:
    /// What a recorder would write at that moment.
    void record(std::int64_t now) const {
        const auto scan = AccountScanner::scan(home_.path(), {});
        Store store(root_);
        Reconciler(store).reconcile(SessionRegistry::allRecords(scan.accounts), scan.accounts, now);
    }
};

}  // namespace

// printf 'session:/s' | sha256sum gives the digits of a short address, 59c7ba; those of /t are 1895c5.

TEST_F(Reports, SayThatNobodyIsThereAndWriteNothing) {
    home_.makeDirectory(".claude-work/sessions");
    environment_["CLAUDE_CONFIG_DIR"] = "";  // names no account
    environment_["HAVRICK_ROOT"] = "~/some data";
    const auto run = world::runProgram({HAVRICK_MCP_EXECUTABLE, "--ignored"}, environment_, world::toolCall("now"));
    EXPECT_EQ(
        world::answerIn(run),
        "No declared session across the 2 accounts found. An empty `sessions/` directory is a normal state, not an error.");
    EXPECT_EQ(run.errors, "[havrick-mcp] started; version 1.0.2; store " + home_ / "some data" +
                              "\n[havrick-mcp] stdin closed; exiting\n");
    EXPECT_FALSE(std::filesystem::exists(home_ / "some data"));
}

TEST_F(Reports, ShowEverySessionOfEveryAccountWithItsVerdict) {
    home_.makeDirectory(".claude-empty");
    declare(".claude", "0f3c9a2e-alive",
            alive() +
                "'cwd':'/dev/my apps','name':'kio-apps-2e','nameSource':'derived','status':'idle',"
                "'messagingSocketPath':'/tmp/cc-socks/1.sock',");
    declare(".claude", "éééééééé-gone", alive() + "'pid':2147483647,'name':'no socket',");
    declare(".claude-work", "none", "'startedAt':0,'messagingSocketPath':'/s',");
    declare(".claude-work", "recycled-1",
            "'procStart':'Sat Jan 1 00:00:00 2000','name':'a/b','messagingSocketPath':'/s',");
    const std::string expected = fmt::format(
        "4 declared sessions across 2 accounts:\n"
        "\n"
        "● kio-apps-2e [9e9669]\n"
        "    account main · pid {0} · /dev/my apps\n"
        "    liveness: alive via kill(pid,0) + procStart · reported: idle\n"
        "    sessionId: 0f3c9a2e-alive\n"
        "✕ éééééééé\n"
        "    account main · pid {1} · working dir unknown\n"
        "    liveness: stale via kill(pid,0) · reported: unknown\n"
        "    ⚠ no process with PID {1}\n"
        "    name set explicitly — it does not regenerate on its own\n"
        "    sessionId: éééééééé-gone\n"
        "? none\n"
        "    account work · pid {0} · working dir unknown\n"
        "    liveness: unknown via kill(pid,0) · reported: unknown\n"
        "    ⚠ no procStart baseline — PID recycling cannot be ruled out\n"
        "    sessionId: none\n"
        "✕ a/b [59c7ba]\n"
        "    account work · pid {0} · working dir unknown\n"
        "    liveness: stale via procStart mismatch · reported: unknown\n"
        "    ⚠ PID {0} recycled: the baseline says Sat Jan 1 00:00:00 2000, the live process started at {2}\n"
        "    name set explicitly — it does not regenerate on its own\n"
        "    sessionId: recycled-1",
        process_.pid(), 2147483647, world::startOf(process_.pid()));
    environment_["TZ"] = "America/St_Johns";
    EXPECT_EQ(ask("now", "ignored"), expected);
}

TEST_F(Reports, ShowEveryAccountWithItsSourcesAndTheCaveats) {
    const std::string home = home_.path();
    const auto entry = [](const std::string& account, std::string_view sources, std::string_view identity = "unknown") {
        return fmt::format("{}\n    sources: {}\n    identity: {}\n", account, sources, identity);
    };
    home_.write(".claude.json", R"({"oauthAccount":{"emailAddress":"me@example.org"}})");
    environment_["CLAUDE_CONFIG_DIR"] = "~/.claude";
    const std::string flags = "/.claude  (default, active for the current process, NO DIRECTORY)";
    EXPECT_TRUE(
        ask("accounts").starts_with("1 entries:\n\n" + entry("main — " + home + flags, "defaultHome, environment")));

    for (const char* name : {".claude", ".claude-work", ".claude-", ".claude-b\xFF", "z/.claude-work"}) {
        home_.makeDirectory(name);
    }
    home_.write(".claude-notes", "a file");
    std::filesystem::create_directory_symlink(".claude-work", home_ / ".claude-Link");
    home_.write(".zshrc", "alias claude-z='CLAUDE_CONFIG_DIR=~/z/.claude-work claude'");
    home_.write(".zprofile", "alias claude-w='CLAUDE_CONFIG_DIR=~/.claude-x/../.claude-work/'");
    home_.write(".zshenv", "alias claude-yolo='claude --yolo'");
    home_.write(".aliases", "alias a-claude='claude -c'");
    home_.write(".bashrc", "alias claude-yolo='claude --yolo'");
    home_.write(".bash_profile", "alias claude-kio='CLAUDE_CONFIG_DIR=/gone/.kio'");
    environment_["CLAUDE_CONFIG_DIR"] = "/gone/./.kio//";
    EXPECT_EQ(ask("accounts"),
              "7 entries:\n\n" + entry("main — " + home + "/.claude  (default)", "defaultHome", "me@example.org") +
                  entry(" — " + home + "/.claude-", "orphanDirectory") +
                  entry("Link — " + home + "/.claude-Link", "orphanDirectory") +
                  entry("b\uFFFD — " + home + "/.claude-b\uFFFD", "orphanDirectory") +
                  entry("kio — /gone/.kio  (active for the current process, NO DIRECTORY)", "alias, environment") +
                  entry("work — " + home + "/.claude-work", "alias, orphanDirectory") +
                  entry("work — " + home + "/z/.claude-work", "alias") +
                  "\nWhat this enumeration does NOT cover:\n"
                  "  · 3 alias(es) change more than CLAUDE_CONFIG_DIR (a-claude, claude-yolo, claude-yolo) — they are "
                  "not treated as standing for an account.\n"
                  "  · 1 account(s) configured but with no directory on disk (kio) — configured, never used.\n"
                  "  · A config directory not named `.claude-*` shows up only if $CLAUDE_CONFIG_DIR or a shell alias "
                  "names it.");
}

TEST_F(Reports, FollowASessionThroughItsNames) {
    constexpr std::int64_t start = 1772373909123;
    declare(".claude", "abc-1", "'cwd':'/w','name':'one','nameSource':'derived','messagingSocketPath':'/s',");
    declare(".claude", "abc-2", "'name':'other','messagingSocketPath':'/o',");
    record(start);
    EXPECT_EQ(ask("who", "abc-2").find("Name history"), std::string::npos) << "of a single name";
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
    EXPECT_EQ(ask("who", "abc"), who);
    std::string address = "three [1895c5]";
    const auto expired = [&](const std::string& query, std::string_view until) {
        EXPECT_EQ(ask("resolve", query),
                  fmt::format("`{}` has EXPIRED (valid until {}).\n  The same session now answers to: {}\n"
                              "  sessionId (stable): abc-1",
                              query, until, address));
    };
    expired("one", "2026-03-01 14:06:09 +0000");
    expired("59c7ba", "2026-03-01 14:06:09 +0000");
    expired("two", "2026-03-01 14:07:09 +0000");
    EXPECT_EQ(ask("resolve", "1895c5"),
              "`1895c5` currently delivers to three [1895c5]\n  sessionId: abc-1\n  cwd      : /w");
    EXPECT_EQ(
        ask("resolve", "other"),  // only declared sessions are searched
        "error: `other` is not the address of any currently declared session and does not appear in known history. It may "
        "be a session closed before Brellin began observing.");
    declare(".claude", "abc-1", "");
    address = "abc-1";
    expired("three", "current");
}

TEST_F(Reports, LeaveTheStoreAloneWhenTheyNeedNone) {
    declare(".claude", "abc", "'name':'n',");
    EXPECT_EQ(ask("resolve", "n"), "`n` currently delivers to abc\n  sessionId: abc\n  cwd      : unknown");
    EXPECT_EQ(
        ask("who", "b"),
        "error: No declared session whose id starts with `b`. A closed session no longer has a registry entry — its "
        "history stays in the store, but the short address CANNOT be reconstructed (it is a function of the PID).");
    EXPECT_EQ(
        ask("send", "b"),
        "error: No declared session whose id starts with `b`.\nIf it was alive and no longer is, its registry entry "
        "vanished with the process — and the short address CANNOT be reconstructed, being a function of the PID.");
    EXPECT_EQ(
        ask("send", "abc"),
        "error: Target n is NOT alive: unknown via kill(pid,0).\n  no procStart baseline — PID recycling cannot be ruled "
        "out\nA message sent now would not be delivered.");
    declare(".claude", "abc", alive() + "'name':'n',");
    EXPECT_EQ(
        ask("send", "abc"),
        "error: The target is alive but has no name in the registry — so it has no delivery address. sessionId: abc");
    EXPECT_FALSE(std::filesystem::exists(root_));
    EXPECT_TRUE(ask("resolve", "N").starts_with("error: "));
    EXPECT_TRUE(std::filesystem::exists(root_));
}

TEST_F(Reports, PrepareASendWithinAndAcrossAccounts) {
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
    const std::string closingRemark =
        "Brellin does NOT deliver the message itself. Delivery would require reading `<pid>.<hash>.key` (0600, "
        "`peerToken`) and reimplementing an undocumented, versioned protocol (`peerProtocol: 1`). Of eight apps that "
        "touch `/tmp/cc-socks`, zero write to it. What was missing was never the transport — it was knowing who the "
        "target is NOW.";
    const std::string across = head + warning + closingRemark;
    EXPECT_EQ(ask("send", "w"), across) << "no row for the session: the event is refused, the answer stays";
    EXPECT_EQ(world::sql(root_, "SELECT count(*) FROM events"), "0");
    record(1);
    EXPECT_EQ(ask("send", "w"), across);
    environment_["CLAUDE_CONFIG_DIR"] = "~/.claude-work/";
    EXPECT_EQ(ask("send", "w"), head + closingRemark);
    EXPECT_EQ(world::sql(root_,
                         "SELECT sessionId, detail, certainty, abs(at - 1000 * strftime('%s')) < 60000 FROM "
                         "events WHERE kind='send_prepared' ORDER BY id"),
              "w|address resolved: n [59c7ba] · across an account boundary|observed|1\n"
              "w|address resolved: n [59c7ba]|observed|1");

    // Another program has the database for itself: a reader needs no lock, and a refused event spoils no answer.
    const std::string who = ask("who", "w");
    sqlite3* other = nullptr;
    ASSERT_EQ(::sqlite3_open((root_ + "/havrick.db").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(::sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(ask("send", "w"), head + closingRemark);
    EXPECT_EQ(ask("who", "w"), who);
    ::sqlite3_close(other);
}

}  // namespace brellin
