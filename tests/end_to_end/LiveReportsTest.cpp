#include "BrellinCore/sessions/SessionRecord.h"
#include "tests/world/Program.h"
#include "tests/world/ServerDialogue.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace brellin {

using world::callTool;
using world::singleQuoted;
using world::TemporaryDirectory;

TEST(NowReport, SaysThatNobodyIsThere) {
    const TemporaryDirectory home;
    home.makeDirectory(".claude-work/sessions");
    EXPECT_EQ(callTool({{"HOME", home.path()}}, "havrick_now"),
              (ToolResult{"No declared session across the 2 accounts found. "
                          "An empty `sessions/` directory is a normal state, not an error.",
                          false}));
    EXPECT_FALSE(std::filesystem::exists(home / "Library")) << "the report writes nothing";
}

TEST(NowReport, ShowsEverySessionOfEveryAccountWithItsVerdict) {
    const TemporaryDirectory home;
    const world::LiveProcess process;
    const pid_t dead = world::deadPid();
    const std::string pid = std::to_string(process.pid());
    home.makeDirectory(".claude-empty");
    const std::string start = process.procStart();
    const auto declare = [&](std::string_view file, std::string json) {
        home.write(file, singleQuoted(std::move(json)));
    };
    declare(".claude/sessions/1.json",
            fmt::format("{{'sessionId':'0f3c9a2e-alive','pid':{},'startedAt':1,'procStart':'{}','cwd':'/dev/my apps',"
                        "'name':'kio-apps-2e','nameSource':'derived','messagingSocketPath':'/tmp/cc-socks/1.sock',"
                        "'status':'idle'}}",
                        pid, start));
    declare(".claude/sessions/2.json",
            fmt::format("{{'sessionId':'éééééééé-gone','pid':{},'startedAt':2,'procStart':'{}','name':'no socket'}}",
                        dead, start));
    declare(".claude-work/sessions/3.json", fmt::format("{{'sessionId':'none','pid':{},'startedAt':0}}", pid));
    declare(".claude-work/sessions/4.json",
            fmt::format("{{'sessionId':'recycled-1','pid':{},'startedAt':4,'procStart':'Sat Jan 1 00:00:00 2000',"
                        "'name':'a/b','messagingSocketPath':'/s'}}",
                        pid));
    const SessionRecord first{.socketPath = "/tmp/cc-socks/1.sock"};
    const SessionRecord last{.socketPath = "/s"};
    std::string liveStart = start;
    if (const auto doubled = liveStart.find("  "); doubled != std::string::npos) {
        liveStart.erase(doubled, 1);
    }
    const std::string expected = fmt::format(
        "4 declared sessions across 2 accounts:\n"
        "\n"
        "● kio-apps-2e [{ref}]\n"
        "    account main · pid {pid} · /dev/my apps\n"
        "    liveness: alive via kill(pid,0) + procStart · reported: idle\n"
        "    sessionId: 0f3c9a2e-alive\n"
        "✕ éééééééé\n"
        "    account main · pid {dead} · working dir unknown\n"
        "    liveness: stale via kill(pid,0) · reported: unknown\n"
        "    ⚠ no process with PID {dead}\n"
        "    name set explicitly — it does not regenerate on its own\n"
        "    sessionId: éééééééé-gone\n"
        "? none\n"
        "    account work · pid {pid} · working dir unknown\n"
        "    liveness: unknown via kill(pid,0) · reported: unknown\n"
        "    ⚠ no procStart baseline — PID recycling cannot be ruled out\n"
        "    sessionId: none\n"
        "✕ a/b [{lastRef}]\n"
        "    account work · pid {pid} · working dir unknown\n"
        "    liveness: stale via procStart mismatch · reported: unknown\n"
        "    ⚠ PID {pid} recycled: the baseline says Sat Jan 1 00:00:00 2000, the live process "
        "started at {start}\n"
        "    name set explicitly — it does not regenerate on its own\n"
        "    sessionId: recycled-1",
        fmt::arg("ref", *first.peerRef()), fmt::arg("pid", pid), fmt::arg("dead", dead),
        fmt::arg("lastRef", *last.peerRef()), fmt::arg("start", liveStart));
    for (const char* zone : {"UTC", "Asia/Tokyo", "America/St_Johns"}) {
        const auto result = callTool({{"HOME", home.path()}, {"TZ", zone}}, "havrick_now", "ignored");
        EXPECT_EQ(result, (ToolResult{expected, false})) << zone;
    }
}

TEST(AccountsReport, ShowsSourcesFlagsIdentitiesAndCaveats) {
    const TemporaryDirectory home;
    home.write(".claude/x", "");
    home.write(".claude.json", R"({"oauthAccount":{"emailAddress":"me@example.org"}})");
    home.makeDirectory(".claude-b\xFF");
    home.write(".zshrc",
               "alias claude-kio='CLAUDE_CONFIG_DIR=~/.claude-kio claude'\nalias claude-yolo='claude --yolo'\n");
    const std::string expected = fmt::format(
        "3 entries:\n"
        "\n"
        "main — {0}/.claude  (default)\n"
        "    sources: defaultHome\n"
        "    identity: me@example.org\n"
        "b\uFFFD — {0}/.claude-b\uFFFD\n"
        "    sources: orphanDirectory\n"
        "    identity: unknown\n"
        "kio — {0}/.claude-kio  (active for the current process, NO DIRECTORY)\n"
        "    sources: alias, environment\n"
        "    identity: unknown\n"
        "\n"
        "What this enumeration does NOT cover:\n"
        "  · 1 alias(es) change more than CLAUDE_CONFIG_DIR (claude-yolo) — they are not treated as standing for "
        "an account.\n"
        "  · 1 account(s) configured but with no directory on disk (kio) — configured, never used.\n"
        "  · A config directory not named `.claude-*` shows up only if $CLAUDE_CONFIG_DIR or a shell alias names it.",
        home.path());
    EXPECT_EQ(callTool({{"HOME", home.path()}, {"CLAUDE_CONFIG_DIR", home / ".claude-kio"}}, "havrick_accounts"),
              (ToolResult{expected, false}));

    const TemporaryDirectory empty;
    const auto bare = callTool({{"HOME", empty.path()}, {"CLAUDE_CONFIG_DIR", "~/.claude"}}, "havrick_accounts");
    EXPECT_EQ(bare.text.substr(0, bare.text.find("    identity")),
              "1 entries:\n\nmain — " + empty.path() +
                  "/.claude  (default, active for the current process, NO DIRECTORY)\n"
                  "    sources: defaultHome, environment\n");
}

TEST(Server, StartsWithoutTouchingTheDataDirectory) {
    const TemporaryDirectory home;
    const auto run = world::runProgram({HAVRICK_MCP_EXECUTABLE, "--ignored"},
                                       {{"HOME", home.path()}, {"HAVRICK_ROOT", "~/some data"}});
    EXPECT_EQ(run.exitStatus(), 0);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "[havrick-mcp] started; version 1.0.2; store " + home.path() +
                              "/some data\n[havrick-mcp] stdin closed; exiting\n");
    EXPECT_FALSE(std::filesystem::exists(home / "some data"));
}

}  // namespace brellin
