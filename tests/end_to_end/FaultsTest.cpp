#include "tests/world/Household.h"

#include <filesystem>

namespace brellin {

namespace {

namespace fs = std::filesystem;

/// One live session with a baseline and a watch list, in a world whose faults are made by a shell.
class Faults : public world::Household {
  protected:
    Faults() {
        home_.write("data/watchlist.json", R"(["cmd:sleep","port:1"])");
        declare(".claude", "abc", reachable() + "'name':'n',");
        fs::permissions(home_.write("ps", "#!/bin/sh\neval \"$ps\"\n"), fs::perms::owner_all);
        environment_.insert({{"HAVRICK_TEST_PS", "./ps"}, {"HAVRICK_TEST_LSOF", "/none"}, {"ps", "exec ps \"$@\""}});
    }
};

// Whoever runs the tests may hand descriptors down; the loader needs one, and so does each file that is read.
const std::string noDescriptors = "exec 3<&- 4<&- 5<&- 6<&- 7<&- 8<&- 9<&-; ulimit -n 4; exec ";
// Permissions and a limit of processes do not stop root, until it gives its rights or its name away; where it may not
// do that, `ps` is missing. A sanitizer's leak check starts a process of its own at the end, which must not count.
const std::string noProcesses =
    "given setpriv --reuid 65534 --inh-caps +dac_override --ambient-caps +dac_override; [ \"$(id -u)$given\" != 0 ] || "
    "HAVRICK_TEST_PS=/none exec bin/havrick-mcp-for-faults; ASAN_OPTIONS=detect_leaks=0 exec $given prlimit --nproc=1 ";
const std::string lockedData = "HAVRICK_ROOT=$PWD/locked; mkdir -p -m 555 locked; ";
// 32 KiB hold some of the history's tables; 108 KiB hold them all and half of what a round writes.
const std::string fullDisk = "trap '' XFSZ; exec prlimit --fsize=";

}  // namespace

TEST_F(Faults, EachGetsTheAnswerThatTheSystemPromises) {
    const std::string unavailable =
        "liveness: unknown via kill(pid,0) · reported: unknown\n    ⚠ procStart unavailable (ps unreadable)";
    const std::string alive = "liveness: alive via kill(pid,0) + procStart · reported: unknown\n";
    const std::string incomplete = " — the account list is incomplete.\n";
    const std::string ready = "The target is ALIVE.";
    const std::string identity = "  ref       : 59c7ba";
    // What makes the fault and becomes the server, the tool and its argument, and what stands in the answer.
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {"exec bin/havrick-mcp-for-faults", "now", "", alive},
        {"HAVRICK_TEST_PS=/none exec bin/havrick-mcp-for-faults", "now", "", unavailable},
        {"HAVRICK_TEST_PS=/none exec bin/havrick-mcp-for-faults", "send", "abc", "Target n is NOT alive: unknown via"},
        {"ps='ps \"$@\"; exit 1' exec bin/havrick-mcp-for-faults", "now", "", unavailable},
        {"ps='echo garbage' exec bin/havrick-mcp-for-faults", "now", "", unavailable},
        {"ps='head -c 1000000 /dev/zero | tr \"\\0\" x' exec bin/havrick-mcp-for-faults", "now", "", unavailable},
        {"ps='ps \"$@\"; kill -9 $$' exec bin/havrick-mcp-for-faults", "now", "", unavailable},
#ifdef __linux__
        {noDescriptors + "bin/havrick-mcp", "now", "", unavailable},
        {noDescriptors + "bin/havrick-mcp", "who", "abc", identity},
        {noProcesses + "bin/havrick-mcp", "now", "", unavailable},
        {fullDisk + "32768 bin/havrick-mcp", "send", "abc", ready},
        {fullDisk + "32768 bin/havrick-mcp", "who", "abc", identity},
        {lockedData + world::withoutRights + "bin/havrick-mcp", "send", "abc", ready},
        {lockedData + world::withoutRights + "bin/havrick-mcp", "who", "abc", identity},
        {lockedData + world::withoutRights + "bin/havrick-mcp", "resolve", "x", "the history store is unavailable"},
        {"chmod 311 .; " + world::withoutRights + "bin/havrick-mcp; chmod 700 .", "accounts", "", incomplete},
        {"chmod 311 .; " + world::withoutRights + "bin/havrick-mcp; chmod 700 .", "now", "",
         "n [59c7ba]\n    account main"},
#endif
        {"cp ps havrick.db; HAVRICK_ROOT=$PWD exec bin/havrick-mcp", "who", "abc", identity},
        {"cp ps havrick.db; HAVRICK_ROOT=$PWD exec bin/havrick-mcp", "resolve", "x",
         "does not appear in known history"},
        {"HOME=/no/such/home exec bin/havrick-mcp", "now", "", "No declared session across the 1 accounts found."},
        {"HOME=/no/such/home exec bin/havrick-mcp", "accounts", "", "Could not list /no/such/home" + incomplete},
        {"HOME=$PWD/ps exec bin/havrick-mcp", "accounts", "", "/ps" + incomplete},
        {"trap '' CHLD; exec bin/havrick-mcp", "now", "", alive},
        {"exec bin/havrick-mcp 2>&-", "now", "", alive},
        {"exec bin/havrick-mcp 2>&-", "send", "abc", ready}};
    for (const auto& [script, tool, argument, part] : cases) {
        const auto answer = world::answerIn(runIn(script, world::toolCall(tool, argument)));
        EXPECT_NE(answer.find(part), std::string::npos) << script << "\n" << answer;
    }
    EXPECT_FALSE(fs::exists(home_ / "data/havrick.db-wal"));
}

TEST_F(Faults, TheCompanionTellsThemInWords) {
    const std::string directory = "havrick: the data directory ";
    // What makes the fault, how the output ends, and how the errors begin.
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"ps='ps \"$@\"; exit 2' exec bin/havrick-for-faults watch scan",
         "    unknown via ps\n    ⚠ ps could not be enumerated — the command’s presence cannot be decided\n"
         "? port 1\n    unknown via lsof\n    ⚠ lsof could not run — the port’s occupant cannot be decided\n",
         ""},
#ifdef __linux__
        {fullDisk + "110592 bin/havrick record", "",
         "havrick: the history " + root_ + "/havrick.db cannot be written: "},
        {lockedData + world::withoutRights + "bin/havrick record", "",
         directory + home_ / "locked" + " cannot be written: Permission denied\n"},
        {"HAVRICK_ROOT=/proc/x exec bin/havrick watch add pid:1", "",
         directory + "/proc/x cannot be written: No such file or directory\n"},
#endif
        {"HAVRICK_ROOT=$PWD/ps exec bin/havrick record", "",
         directory + home_ / "ps" + " cannot be written: Not a directory\n"}};
    for (const auto& [script, output, errors] : cases) {
        const auto run = runIn(script);
        EXPECT_EQ(run.exitStatus, errors.empty() ? 0 : 1) << script;
        EXPECT_TRUE(run.output.ends_with(output)) << script << run.output;
        EXPECT_TRUE(run.errors.starts_with(errors)) << script << run.errors;
    }
    EXPECT_EQ(runIn("exec bin/havrick record").exitStatus, 0) << "once there is room again";
    EXPECT_EQ(world::sql(root_, "PRAGMA integrity_check; SELECT kind FROM events"), "ok\nseen");
}

TEST_F(Faults, TheServerOutlivesItsHostsMistakes) {
    EXPECT_EQ(runIn("exec bin/havrick-mcp >&-", world::toolCall("now") + world::toolCall("now")).exitStatus, 0);
    EXPECT_EQ(runIn("exec bin/havrick-mcp <&- >&- 2>&-").exitStatus, 0);
    const std::string blanks(100000, '\n');
    EXPECT_EQ(runIn("bin/havrick-mcp | true; echo ${PIPESTATUS[0]}", blanks + world::toolCall("now")).output, "0\n");
}

}  // namespace brellin
