#include "tests/world/Household.h"

#include <fmt/format.h>

#include <filesystem>

namespace brellin {

class LiveReports : public world::Household {};

TEST_F(LiveReports, SayThatNobodyIsThere) {
    home_.makeDirectory(".claude-work/sessions");
    environment_["CLAUDE_CONFIG_DIR"] = "";  // names no account
    expect("havrick_now", "",
           "No declared session across the 2 accounts found. An empty `sessions/` directory is a normal state, not an "
           "error.");
    EXPECT_FALSE(std::filesystem::exists(root_)) << "the report writes nothing";
}

TEST_F(LiveReports, ShowEverySessionOfEveryAccountWithItsVerdict) {
    const pid_t dead = world::deadPid();
    home_.makeDirectory(".claude-empty");
    declare(".claude", "0f3c9a2e-alive",
            alive() +
                "'cwd':'/dev/my apps','name':'kio-apps-2e','nameSource':'derived','status':'idle',"
                "'messagingSocketPath':'/tmp/cc-socks/1.sock',");
    declare(".claude", "éééééééé-gone", fmt::format("{}'pid':{},'name':'no socket',", alive(), dead));
    declare(".claude-work", "none", "'startedAt':0,'messagingSocketPath':'/s',");
    declare(".claude-work", "recycled-1",
            "'procStart':'Sat Jan 1 00:00:00 2000','name':'a/b','messagingSocketPath':'/s',");
    std::string start = process_.procStart();
    if (const auto doubled = start.find("  "); doubled != std::string::npos) {
        start.erase(doubled, 1);
    }
    // printf "session:/s" | sha256sum gives the digits.
    const std::string expected = fmt::format(
        "4 declared sessions across 2 accounts:\n"
        "\n"
        "● kio-apps-2e [9e9669]\n"
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
        "✕ a/b [59c7ba]\n"
        "    account work · pid {pid} · working dir unknown\n"
        "    liveness: stale via procStart mismatch · reported: unknown\n"
        "    ⚠ PID {pid} recycled: the baseline says Sat Jan 1 00:00:00 2000, the live process started at {start}\n"
        "    name set explicitly — it does not regenerate on its own\n"
        "    sessionId: recycled-1",
        fmt::arg("pid", process_.pid()), fmt::arg("dead", dead), fmt::arg("start", start));
    for (const char* zone : {"UTC", "Asia/Tokyo", "America/St_Johns"}) {
        environment_["TZ"] = zone;
        expect("havrick_now", "ignored", expected);
    }
}

TEST_F(LiveReports, ShowSourcesFlagsIdentitiesAndCaveats) {
    environment_["CLAUDE_CONFIG_DIR"] = "~/.claude";
    const auto bare = ask("havrick_accounts");
    EXPECT_EQ(bare.text.substr(0, bare.text.find("    identity")),
              "1 entries:\n\nmain — " + home_.path() +
                  "/.claude  (default, active for the current process, NO DIRECTORY)\n"
                  "    sources: defaultHome, environment\n");

    home_.makeDirectory(".claude");
    home_.makeDirectory(".claude-b\xFF");
    home_.write(".claude.json", R"({"oauthAccount":{"emailAddress":"me@example.org"}})");
    home_.write(".zshrc",
                "alias claude-kio='CLAUDE_CONFIG_DIR=~/.claude-kio claude'\nalias claude-yolo='claude --yolo'\n");
    environment_["CLAUDE_CONFIG_DIR"] = home_ / ".claude-kio";
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
        home_.path());
    expect("havrick_accounts", "", expected);
}

TEST_F(LiveReports, StartWithoutTouchingTheDataDirectory) {
    environment_["HAVRICK_ROOT"] = "~/some data";
    const auto run = world::runProgram({HAVRICK_MCP_EXECUTABLE, "--ignored"}, environment_);
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "[havrick-mcp] started; version 1.0.2; store " + home_.path() +
                              "/some data\n[havrick-mcp] stdin closed; exiting\n");
    EXPECT_FALSE(std::filesystem::exists(home_ / "some data"));
}

}  // namespace brellin
