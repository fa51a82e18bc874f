#include "tests/world/Household.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>

namespace brellin {

namespace {

namespace fs = std::filesystem;

/// One live session with a baseline, a watch list, and programs that an ordinary user can start, in a world
/// whose faults are made by a shell in a mount namespace of its own.
class Faults : public world::Household {
  protected:
    Faults() {
        fs::permissions(home_.path(), fs::perms{0755});
        fs::copy(HAVRICK_MCP_EXECUTABLE, home_ / "server");
        fs::copy(HAVRICK_EXECUTABLE, home_ / "companion");
        home_.write("data/watchlist.json", R"(["cmd:sleep","port:1"])");
        declare(".claude", "abc", reachable() + "'name':'n',");
        int programs = 0;
        for (const char* action : {"exit 1", "echo garbage", "head -c 1000000 /dev/zero | tr '\\0' x", "kill -9 $$"}) {
            fs::permissions(home_.write(fmt::format("ps{}", ++programs), fmt::format("#!/bin/sh\n{}\n", action)),
                            fs::perms::all);
        }
    }

    world::ProgramRun runIn(const std::string& script, const std::string& input = {}) const {
        const char* flags = ::geteuid() == 0 ? "-m" : "-rm";
        return world::runProgram({"/usr/bin/unshare", flags, "/bin/sh", "-c", "cd \"$HOME\"; " + script}, environment_,
                                 input);
    }
};

// Whoever runs the tests may hand descriptors down; the loader needs one, and so does each file that is read.
const std::string noDescriptors = "exec 3<&- 4<&- 5<&- 6<&- 7<&- 8<&- 9<&-; ulimit -n 4; exec ";
// Without the rights of root, whether the tests run as root or as the root of a user namespace.
const std::string asNobody =
    ::geteuid() == 0 ? "exec setpriv --reuid 65534 --regid 65534 --clear-groups "
                     : "exec setpriv --securebits=+noroot --inh-caps=-all --ambient-caps=-all --bounding-set=-all ";
// In a sanitizer build the leak check starts a process of its own at the end, which must not count here.
const std::string noLeakCheck = "env ASAN_OPTIONS=detect_leaks=0 ";

}  // namespace

TEST_F(Faults, EachGetsTheAnswerThatTheSystemPromises) {
    const std::string unavailable =
        "liveness: unknown via kill(pid,0) · reported: unknown\n    ⚠ procStart unavailable (ps unreadable) — PID "
        "recycling cannot be ruled out\n";
    const std::string alive = "liveness: alive via kill(pid,0) + procStart · reported: unknown\n";
    const std::string nobody = "No declared session across the 1 accounts found.";
    const std::string incomplete = " — the account list is incomplete.\n";
    const std::string ready = "The target is ALIVE.";
    const std::string identity = "  ref       : 59c7ba";
    const std::string storeless = "the history store is unavailable, so it cannot say whether it ever was.";
    // What makes the fault and becomes the server, the tool and its argument, and what stands in the answer.
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {"mount -t tmpfs none /usr/bin; exec ./server", "now", "", unavailable},
        {"mount -t tmpfs none /usr/bin; exec ./server", "send", "abc", "Target n is NOT alive: unknown via"},
        {"mount --bind ps1 /usr/bin/ps; exec ./server", "now", "", unavailable},
        {"mount --bind ps2 /usr/bin/ps; exec ./server", "now", "", unavailable},
        {"mount --bind ps3 /usr/bin/ps; exec ./server", "now", "", unavailable},
        {"mount --bind ps4 /usr/bin/ps; exec ./server", "now", "", unavailable},
        {noDescriptors + "./server", "now", "", unavailable},
        {noDescriptors + "./server", "who", "abc", identity},
        {asNobody + noLeakCheck + "prlimit --nproc=1 ./server", "now", "", unavailable},
        {"mount -t tmpfs -o size=16k none data; exec ./server", "send", "abc", ready},
        {"mount -t tmpfs -o size=16k none data; exec ./server", "who", "abc", identity},
        {"mount -t tmpfs -o ro none data; exec ./server", "send", "abc", ready},
        {"mount -t tmpfs -o ro none data; exec ./server", "who", "abc", identity},
        {"mount -t tmpfs -o ro none data; exec ./server", "resolve", "x", storeless},
        {"HOME=/no/such/home exec ./server", "now", "", nobody},
        {"HOME=/no/such/home exec ./server", "accounts", "", "Could not list /no/such/home" + incomplete},
        {"HOME=$PWD/server exec ./server", "accounts", "", "/server" + incomplete},
        {"chmod 311 .; " + asNobody + "./server", "accounts", "", incomplete},
        {"chmod 311 .; " + asNobody + "./server", "now", "", alive},
        {"trap '' CHLD; exec ./server", "now", "", alive},
        {"exec ./server 2>&-", "now", "", alive},
        {"exec ./server 2>&-", "send", "abc", ready}};
    for (const auto& [script, tool, argument, part] : cases) {
        const auto answer = world::answerIn(runIn(script, world::toolCall("havrick_" + tool, argument)));
        EXPECT_NE(answer.text.find(part), std::string::npos) << script << "\n" << answer.text;
    }
    EXPECT_FALSE(fs::exists(home_ / "data/havrick.db-wal"));
}

TEST_F(Faults, TheCompanionTellsThemInWords) {
    // What makes the fault, how the output ends, and how the errors begin.
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"mount -t tmpfs none /usr/bin; exec ./companion watch scan",
         "    unknown via ps\n    ⚠ ps could not be enumerated — the command’s presence cannot be decided\n"
         "? port 1\n    unknown via lsof\n    ⚠ lsof could not run — the port’s occupant cannot be decided\n",
         ""},
        {"mount -t tmpfs -o size=16k none data; exec ./companion record", "",
         "havrick: the history " + root_ + "/havrick.db cannot be written: "},
        {"mount -t tmpfs -o ro none data; exec ./companion record", "",
         "havrick: the data directory " + root_ + " cannot be written: Read-only file system\n"},
        {"HAVRICK_ROOT=$PWD/server exec ./companion record", "",
         "havrick: the data directory " + home_ / "server" + " cannot be written: Not a directory\n"},
        {"HAVRICK_ROOT=/proc/x exec ./companion watch add pid:1", "",
         "havrick: the data directory /proc/x cannot be written: No such file or directory\n"}};
    for (const auto& [script, output, errors] : cases) {
        const auto run = runIn(script);
        EXPECT_EQ(run.exitStatus, errors.empty() ? 0 : 1) << script;
        EXPECT_TRUE(run.output.ends_with(output)) << script << run.output;
        EXPECT_TRUE(run.errors.starts_with(errors)) << script << run.errors;
    }
}

TEST_F(Faults, TheServerOutlivesItsHostsMistakes) {
    const std::string ping = R"({"id":1,"method":"ping"})";
    const auto halfALine = runIn("exec ./server", ping + "\n{\"id\":2,\"meth");
    EXPECT_EQ(halfALine.output, "{\"jsonrpc\":\"2.0\",\"id\":1,\"result\":{}}\n");
    EXPECT_NE(halfALine.errors.find("line ignored"), std::string::npos) << halfALine.errors;
    EXPECT_EQ(runIn("exec ./server >&-", ping + "\n" + ping).exitStatus, 0);
    EXPECT_EQ(runIn("exec ./server <&- >&- 2>&-").exitStatus, 0);
    EXPECT_EQ(runIn("./server | true; echo gone", std::string(100000, '\n') + ping).output, "gone\n");
}

}  // namespace brellin
