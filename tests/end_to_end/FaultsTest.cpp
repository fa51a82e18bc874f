#include "tests/world/Program.h"
#include "tests/world/ServerDialogue.h"
#include "tests/world/TemporaryDirectory.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

namespace brellin {

namespace {

namespace fs = std::filesystem;

/// One live session with a baseline, a watch list, and programs that an ordinary user can start, in a world
/// whose faults are made by a shell in a mount namespace of its own.
class Faults : public testing::Test {
  protected:
    Faults() {
        fs::permissions(home_.path(), fs::perms::owner_all | fs::perms::group_exec | fs::perms::group_read |
                                          fs::perms::others_exec | fs::perms::others_read);
        fs::copy(HAVRICK_MCP_EXECUTABLE, home_ / "server");
        fs::copy(HAVRICK_EXECUTABLE, home_ / "companion");
        home_.makeDirectory("data");
        home_.write("data/watchlist.json", R"(["cmd:sleep","port:1"])");
        home_.write(".claude/sessions/1.json",
                    world::singleQuoted(fmt::format("{{'sessionId':'abc','pid':{},'startedAt':0,'procStart':'{}',"
                                                    "'name':'n','messagingSocketPath':'/s'}}",
                                                    process_.pid(), process_.procStart())));
        for (const char* action : {"exit 1", "echo garbage", "head -c 1000000 /dev/zero | tr '\\0' x", "kill -9 $$"}) {
            home_.write(fmt::format("ps{}", ++programs_), fmt::format("#!/bin/sh\n{}\n", action));
            fs::permissions(home_ / fmt::format("ps{}", programs_), fs::perms::all);
        }
    }

    world::ProgramRun runIn(const std::string& script, const std::string& input = {}) const {
        const char* flags = ::geteuid() == 0 ? "-m" : "-rm";
        return world::runProgram({"/usr/bin/unshare", flags, "/bin/sh", "-c", "cd \"$HOME\"; " + script},
                                 {{"HOME", home_.path()}, {"HAVRICK_ROOT", home_ / "data"}}, input);
    }

    const world::TemporaryDirectory home_;
    const world::LiveProcess process_;
    int programs_ = 0;
};

// Whoever runs the tests may hand descriptors down; the loader needs one, and so does each file that is read.
const std::string noDescriptors = "exec 3<&- 4<&- 5<&- 6<&- 7<&- 8<&- 9<&-; ulimit -n 4; exec ";
const std::string asNobody = "exec setpriv --reuid 65534 --regid 65534 --clear-groups ";

}  // namespace

TEST_F(Faults, EachGetsTheAnswerThatTheSystemPromises) {
    const std::string pid = std::to_string(process_.pid());
    const std::string unavailable =
        "liveness: unknown via kill(pid,0) · reported: unknown\n    ⚠ procStart unavailable (ps unreadable) — PID "
        "recycling cannot be ruled out\n";
    const std::string alive = "liveness: alive via kill(pid,0) + procStart · reported: unknown\n";
    const std::string nobody = "No declared session across the 1 accounts found.";
    const std::string incomplete = " — the account list is incomplete.\n";
    const std::string ready = "The target is ALIVE.";
    const std::string identity = "  ref       : 59c7ba";
    const std::string storeless = "the history store is unavailable, so it cannot say whether it ever was.";
    struct Case {
        std::string script;  ///< makes the fault and becomes the server
        std::string tool;
        std::string argument;
        std::string answer;  ///< stands in it
    };
    for (const Case& each : {
             Case{"mount -t tmpfs none /usr/bin; exec ./server", "now", "", unavailable},
             Case{"mount -t tmpfs none /usr/bin; exec ./server", "send", "abc", "Target n is NOT alive: unknown via"},
             Case{"mount --bind ps1 /usr/bin/ps; exec ./server", "now", "", unavailable},
             Case{"mount --bind ps2 /usr/bin/ps; exec ./server", "now", "", unavailable},
             Case{"mount --bind ps3 /usr/bin/ps; exec ./server", "now", "", unavailable},
             Case{"mount --bind ps4 /usr/bin/ps; exec ./server", "now", "", unavailable},
             Case{noDescriptors + "./server", "now", "", unavailable},
             Case{noDescriptors + "./server", "who", "abc", identity},
             Case{asNobody + "prlimit --nproc=1 ./server", "now", "", unavailable},
             Case{"mount -t tmpfs -o size=16k none data; exec ./server", "send", "abc", ready},
             Case{"mount -t tmpfs -o size=16k none data; exec ./server", "who", "abc", identity},
             Case{"mount -t tmpfs -o ro none data; exec ./server", "send", "abc", ready},
             Case{"mount -t tmpfs -o ro none data; exec ./server", "who", "abc", identity},
             Case{"mount -t tmpfs -o ro none data; exec ./server", "resolve", "x", storeless},
             Case{"HOME=/no/such/home exec ./server", "now", "", nobody},
             Case{"HOME=/no/such/home exec ./server", "accounts", "", "Could not list /no/such/home" + incomplete},
             Case{"HOME=$PWD/server exec ./server", "accounts", "", "/server" + incomplete},
             Case{"chmod 711 .; " + asNobody + "./server", "accounts", "", incomplete},
             Case{"chmod 711 .; " + asNobody + "./server", "now", "", alive},
             Case{"trap '' CHLD; exec ./server", "now", "", alive},
             Case{"exec ./server 2>&-", "now", "", alive},
             Case{"exec ./server 2>&-", "send", "abc", ready},
         }) {
        const boost::json::object request = {
            {"id", 1},
            {"method", "tools/call"},
            {"params",
             {{"name", "havrick_" + each.tool},
              {"arguments", {{"sessionId", each.argument}, {"query", each.argument}}}}}};
        const auto run = runIn(each.script, boost::json::serialize(request) + "\n");
        EXPECT_EQ(run.exitStatus(), 0) << each.script << run.errors;
        ASSERT_FALSE(run.output.empty()) << each.script << run.errors;
        const auto reply = boost::json::parse(run.output);
        const std::string text(reply.at("result").at("content").at(0).at("text").as_string());
        EXPECT_NE(text.find(each.answer), std::string::npos) << each.script << "\n" << text;
    }
    EXPECT_FALSE(fs::exists(home_ / "data/havrick.db-wal"));
}

TEST_F(Faults, TheCompanionTellsThemInWords) {
    struct Case {
        std::string script;
        std::string output;
        std::string errors;
    };
    const std::string data = home_ / "data";
    for (const auto& [script, output, errors] : {
             Case{"mount -t tmpfs none /usr/bin; exec ./companion watch scan",
                  "    unknown via ps\n    ⚠ ps could not be enumerated — the command’s presence cannot be decided\n"
                  "? port 1\n    unknown via lsof\n    ⚠ lsof could not run — the port’s occupant cannot be decided\n",
                  ""},
             Case{"mount -t tmpfs -o size=16k none data; exec ./companion record", "",
                  "havrick: the history " + data + "/havrick.db cannot be written: "},
             Case{"mount -t tmpfs -o ro none data; exec ./companion record", "",
                  "havrick: the data directory " + data + " cannot be written: Read-only file system\n"},
             Case{"HAVRICK_ROOT=$PWD/server exec ./companion record", "",
                  "havrick: the data directory " + home_ / "server" + " cannot be written: Not a directory\n"},
             Case{"HAVRICK_ROOT=/proc/x exec ./companion watch add pid:1", "",
                  "havrick: the data directory /proc/x cannot be written: No such file or directory\n"},
         }) {
        const auto run = runIn(script);
        EXPECT_EQ(run.exitStatus(), errors.empty() ? 0 : 1) << script;
        EXPECT_TRUE(run.output.ends_with(output)) << script << run.output;
        EXPECT_TRUE(run.errors.starts_with(errors)) << script << run.errors;
    }
}

TEST_F(Faults, TheServerOutlivesItsHostsMistakes) {
    const std::string ping = R"({"id":1,"method":"ping"})";
    const auto halfALine = runIn("exec ./server", ping + "\n{\"id\":2,\"meth");
    EXPECT_EQ(halfALine.output, "{\"jsonrpc\":\"2.0\",\"id\":1,\"result\":{}}\n");
    EXPECT_TRUE(
        halfALine.errors.ends_with("line ignored (not JSON, or has no method)\n[havrick-mcp] stdin closed; "
                                   "exiting\n"));
    EXPECT_EQ(runIn("exec ./server >&-", ping + "\n" + ping).exitStatus(), 0);
    EXPECT_EQ(runIn("exec ./server <&- >&- 2>&-").exitStatus(), 0);
    EXPECT_EQ(runIn("./server | true; echo gone", std::string(100000, '\n') + ping).output, "gone\n");
}

}  // namespace brellin
