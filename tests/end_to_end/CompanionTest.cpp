#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/platform/FileLock.h"
#include "BrellinCore/store/Store.h"
#include "tests/world/Household.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>
#include <thread>

namespace brellin {

namespace {

namespace fs = std::filesystem;
using world::startOf;

/// The companion, on declarations of the home's own account.
class Companion : public world::Household {
  protected:
    /// What it says to a command of the shell: all that it writes, and its exit status unless that is 0.
    std::string tell(const std::string& arguments) const {
        const std::string command = HAVRICK_EXECUTABLE " " + arguments;
        const auto run = world::runProgram({"/bin/bash", "-o", "pipefail", "-c", command}, environment_);
        return run.output + run.errors + (run.exitStatus == 0 ? "" : fmt::format("exit {}\n", run.exitStatus));
    }
    void declare(std::string_view id, std::string_view members) const { Household::declare(".claude", id, members); }
    /// A recorder in the background: a child of this process that can be killed.
    world::LiveProcess recorder(const std::string& every) const {
        return world::LiveProcess({HAVRICK_EXECUTABLE, "record", "--every", every}, environment_);
    }
};

}  // namespace

TEST_F(Companion, TellsWhatAnAgentIsTold) {
    declare("abc", reachable() +
                       "'cwd':'/w','startedAt':7,'name':'n','nameSource':'derived','nameSince':8,'status':'idle',"
                       "'version':'2',");
    for (const auto& [tool, argument] : {std::pair{"now", ""},
                                         {"accounts", ""},
                                         {"who", "abc"},
                                         {"who", "x"},
                                         {"who", "''"},
                                         {"send", "a"},
                                         {"resolve", "n"}}) {
        const std::string answer = ask(tool, std::string_view(argument) == "''" ? "" : argument);
        const std::string expected = answer.starts_with("error: ") ? answer.substr(7) + "\nexit 1\n" : answer + "\n";
        EXPECT_EQ(tell(fmt::format("{} {}", tool, argument)), expected);
    }
    EXPECT_EQ(
        tell("now --json"),
        fmt::format(
            R"({{"accountCount":1,"sessions":[{{"sessionId":"abc","pid":{},"accountPath":"{}/.claude","cwd":"/w",)"
            R"("startedAt":7,"procStartRaw":"{}","socketPath":"/s","name":"n","nameSource":"derived","nameSince":8,)"
            R"("reportedStatus":"idle","version":"2","peerRef":"59c7ba","peerAddress":"n [59c7ba]",)"
            R"("accountLabel":"main","verdict":{{"state":"alive","method":"kill(pid,0) + procStart"}}}}]}})"
            "\n",
            process_.pid(), home_.path(), startOf(process_.pid())));
    environment_["CLAUDE_CONFIG_DIR"] = home_ / "x";
    home_.write(".claude.json", R"({"oauthAccount":{"emailAddress":"me@home"}})");
    const std::string accounts = fmt::format(
        R"({{"accounts":[{{"path":"{0}/.claude","label":"main","sources":["defaultHome"],"isDefault":true,)"
        R"("isActiveForThisProcess":false,"existsOnDisk":true,"identityEmail":"me@home"}},{{"path":"{0}/x","label":"x",)"
        R"("sources":["environment"],"isDefault":false,"isActiveForThisProcess":true,"existsOnDisk":false}}],"caveats":["1)",
        home_.path());
    EXPECT_TRUE(tell("accounts --json").starts_with(accounts));
}

TEST_F(Companion, UsageErrorsGoToStandardError) {
    for (const std::string arguments : {"", "nonsense", "who", "now extra", "record --every x", "record --every -1",
                                        "record --every nan", "watch", "watch add"}) {
        EXPECT_EQ(tell(arguments + " 2>/dev/null"), "exit 2\n") << arguments;
        EXPECT_TRUE(tell(arguments).starts_with("havrick: ")) << arguments;
    }
    EXPECT_EQ(tell("--version"), "havrick 1.0.2\n");
    EXPECT_EQ(tell("watch scan --help >/dev/null"), "");
#ifdef __linux__
    EXPECT_EQ(tell("now >/dev/full"), "havrick: standard output cannot be written\nexit 1\n");
#endif
    declare("abc", "'name':'" + std::string(200000, 'x') + "',");  // more than a pipe holds
    EXPECT_EQ(tell("now | head -c 1; echo ${PIPESTATUS[0]}"), "10\n");
}

#ifdef __linux__
TEST_F(Companion, ColoursItsSignsForAPersonWhoWantsIt) {
    if (!Descriptor(::posix_openpt(O_RDWR | O_NOCTTY)).isOpen()) {
        return;  // a chroot may have no terminals
    }
    declare("abc\\u001B\\u202E", "");
    const std::string coloured = "\033[33m? \033[0mabc\uFFFD\uFFFD\r\n";
    const std::string plain = "\n? abc\uFFFD\uFFFD\r\n";
    for (const auto& [variables, shown] : {std::pair<std::string, std::string>{"TERM=xterm", coloured},
                                           {"TERM=xterm NO_COLOR=", coloured},
                                           {"TERM=xterm NO_COLOR=1", plain},
                                           {"TERM=dumb", plain},
                                           {"-u TERM", plain}}) {
        const std::string command = "env " + variables + " " HAVRICK_EXECUTABLE " now";
        const std::string told =
            world::runProgram({"/usr/bin/script", "-qc", command, "/dev/null"}, environment_).output;
        EXPECT_NE(told.find(shown), std::string::npos) << variables << "\n" << told;
    }
}
#endif

// The history is written by one executable and told by the other.
TEST_F(Companion, RecordsWhatTheServerTells) {
    declare("abc-123456", reachable() + "'name':'old',");
    EXPECT_TRUE(tell("history").ends_with(" does not exist (`havrick record` writes it)\nexit 1\n"));
    EXPECT_FALSE(fs::exists(root_)) << "asking for a history makes none";
    home_.write(".claude.json", R"({"oauthAccount":{"emailAddress":"me@home"}})");
    EXPECT_EQ(tell("record | cut -c 27-"), "seen:abc-1234\n");
    EXPECT_EQ(world::sql(root_, "SELECT identityEmail FROM accounts"), "me@home");
    EXPECT_EQ(tell("record"), "");
    declare("abc-123456", reachable() + "'name':'new',");
    const std::string renaming = tell("record");
    const std::string time = renaming.substr(0, renaming.find(" renamed:new\n"));
    EXPECT_TRUE(ask("resolve", "old").starts_with("`old` has EXPIRED (valid until " + time + ")."));
    fs::remove_all(home_ / ".claude");
    EXPECT_EQ(tell("record | cut -c 27-"), "undeclared:abc-1234\n");
    Store(root_).upsertSession({.sessionId = "torn"}, 1);  // as a round leaves it that was killed right there
    declare("torn", "");
    EXPECT_EQ(tell("record") + tell("record"), "");
    EXPECT_EQ(world::sql(root_, "SELECT kind FROM events WHERE sessionId='torn'"), "seen");
}

TEST_F(Companion, TellsTheWholeHistory) {
    Store store(root_);
    store.ensureEntity("port:1", "watch:port 1", 4000);
    store.upsertSession({.sessionId = "s", .accountPath = "/a", .cwd = "/w"}, 0);
    store.openName("s", "one", "ref", "derived", 0);
    store.closeName("s", 1000);
    store.openName("s", "two", std::nullopt, std::nullopt, 2000);
    store.appendEvent("s", "kind", "detail", "inferred", 3000);
    EXPECT_EQ(tell("history"),
              "s\n"
              "  account : /a\n"
              "  cwd     : /w\n"
              "  seen    : 1970-01-01 00:00:00 +0000 to 1970-01-01 00:00:00 +0000\n"
              "  Names:\n"
              "    1970-01-01 00:00:00 +0000 to 1970-01-01 00:00:01 +0000 — one [ref]\n"
              "    1970-01-01 00:00:02 +0000 to now — two [?]\n"
              "  Events:\n"
              "    1970-01-01 00:00:03 +0000 — kind (inferred) — detail\n"
              "\n"
              "port:1\n"
              "  watched : port 1\n"
              "  seen    : 1970-01-01 00:00:04 +0000 to 1970-01-01 00:00:04 +0000\n");
    EXPECT_EQ(tell("history port | head -n 1"), "port:1\n");
    EXPECT_EQ(tell("history t"), "havrick: the history holds nothing whose id begins with \"t\"\nexit 1\n");
}

TEST_F(Companion, KeepsAWatchList) {
    EXPECT_EQ(tell("watch add pid:1 $'b\\egus' pid:+1 cmd:a/b"),
              "havrick: \"b\uFFFDgus\" is no watch spec; these are: pid:<number>, cmd:<text>, port:<number>\n"
              "havrick: pid:1 is watched already\nexit 1\n");
    EXPECT_EQ(tell("watch remove pid:2"), "havrick: pid:2 is not watched\nexit 1\n");
    EXPECT_EQ(tell("watch list"), "pid:1 — PID 1\ncmd:a/b — command ~ “a/b”\n");
    for (const std::string damaged : {R"(["pid:0","x"])", "no list"}) {
        home_.write("data/watchlist.json", damaged);
        EXPECT_TRUE(
            tell("watch add port:1").ends_with("nothing was changed; --force writes a new list over it\nexit 1\n"));
        EXPECT_EQ(home_.read("data/watchlist.json"), damaged);
    }
    EXPECT_TRUE(
        tell("watch add --force pid:0").ends_with("data/watchlist.json cannot be read as a list of watch specs\n"));
    const std::string scanned = "✕ PID 0\n    stale via kill(pid,0)\n    ⚠ no process with PID 0\n";
    EXPECT_EQ(tell("watch scan | tail -n +2"), scanned);
    EXPECT_FALSE(fs::exists(root_ + "/havrick.db"));
    home_.makeDirectory("data/havrick.db");
    EXPECT_EQ(tell("watch scan --record | tail -n +2"),
              scanned + "havrick: the history " + root_ +
                  "/havrick.db cannot be opened: unable to open database file\nexit 1\n");
}

TEST_F(Companion, ShowsWhoHoldsWhatIsWatched) {
    environment_["TZ"] = "Asia/Tokyo";
    Descriptor listener{::socket(AF_INET, SOCK_STREAM, 0)};
    ::fcntl(listener.get(), F_SETFD, FD_CLOEXEC);
    ASSERT_EQ(::listen(listener.get(), 1), 0) << "at a port that the system picks";
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    ASSERT_EQ(::getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    const std::string command = fmt::format("sleep 1000.{}", ::getpid());
    const world::LiveProcess process({"/bin/sleep", command.substr(6)});
    const auto port = ntohs(address.sin_port);
    tell(fmt::format("watch add pid:{} 'cmd:{}' port:{}", process.pid(), command, port));
    const std::string expected = fmt::format(
        "? PID {0}\n    unknown via kill(pid,0)\n    ⚠ no procStart baseline — PID recycling cannot be ruled out\n"
        "    held by pid {0} · pid {0} · started {1} UTC\n"
        "● command ~ “{2}”\n    alive via ps\n    held by pid {0} · /bin/{2} · started {3} local time\n"
        "● port {4}\n    alive via lsof\n    held by pid {5} · havrick",
        process.pid(), startOf(process.pid()), command, startOf(process.pid(), "Asia/Tokyo"), port, ::getpid());
    const std::string shown = tell("watch scan | tail -n +2");
    EXPECT_EQ(shown.substr(0, expected.size()), expected);
    EXPECT_TRUE(shown.ends_with(" · started " + startOf(::getpid()) + " UTC\n")) << shown;
    const auto records = [&](const std::string& event) {
        return tell("watch scan --record").find(" +0000 — " + event) != std::string::npos;
    };
    EXPECT_TRUE(records(fmt::format("occupied (observed) — command ~ “{}”: held by /bin/", command)));
    // A connection to the port stays behind; nobody listens any more.
    const Descriptor client(::socket(AF_INET, SOCK_STREAM, 0));
    ASSERT_EQ(::connect(client.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
    const Descriptor accepted(::accept(listener.get(), nullptr, nullptr));
    listener.close();
    EXPECT_TRUE(records(fmt::format("vacated (observed) — port {}: nobody holds it any more\n", port)));
}

TEST_F(Companion, RefusesToRecordBesideAnother) {
    tell("watch add pid:1");
    const FileLock recording(root_ + "/recorder.lock", FileLock::Contention::refuse);
    const FileLock scanning(root_ + "/watch-recorder.lock", FileLock::Contention::refuse);
    for (const auto& [command, job] :
         {std::pair{"record", "a recorder"}, {"watch scan --record", "a recorder of watched targets"}}) {
        for (const char* repetition : {"", " --every 0"}) {
            EXPECT_EQ(
                tell(std::string(command) + repetition),
                fmt::format("havrick: {} is at work on {} already: process {}\nexit 1\n", job, root_, ::getpid()));
        }
    }
}

TEST_F(Companion, RecordsAnewWhereItsDataWasMovedAndEndsWhenAsked) {
    declare("abc", "");
    const auto waitForRounds = [&](int count) {
        while (std::atoi(world::sql(root_, "SELECT count(*) FROM observations").c_str()) < count) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    };
    for (const int signal : {SIGINT, SIGTERM}) {
        const world::LiveProcess recording = recorder("0.01");
        waitForRounds(1);
        fs::rename(root_, home_ / fmt::format("moved-{}", signal));
        waitForRounds(2);  // the first may have begun in the old place
        EXPECT_EQ(FileLock(root_ + "/recorder.lock", FileLock::Contention::refuse).holder(), recording.pid());
        ::kill(recording.pid(), signal);
        int status = -1;
        ASSERT_EQ(::waitpid(recording.pid(), &status, 0), recording.pid());
        EXPECT_EQ(status, 0);
    }
}

// HAVRICK_SOAK_SECONDS makes it longer.
TEST_F(Companion, AllWritersSideBySideLoseNothingWhenTheyAreKilled) {
    const char* soak = std::getenv("HAVRICK_SOAK_SECONDS");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(soak == nullptr ? 2 : std::atoi(soak));
    tell("watch add cmd:sleep port:1");
    tell("record");
    const std::string members = reachable();
    std::mt19937 random(1);
    std::string session;
    std::string name;
    std::string events = "ok";
    for (int kill = 0; std::chrono::steady_clock::now() < end; ++kill) {
        session = fmt::format("session-{}", random() % 50);
        name = fmt::format("n{}", random());
        declare(session, members + "'name':'" + name + "',");
        {
            const world::LiveProcess killed = recorder("0");
            EXPECT_EQ(kill % 8 == 0 ? tell("watch scan --record >/dev/null") : "", "");
            EXPECT_FALSE(kill % 4 == 0 && ask("send", "session-").starts_with("error"));
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 25000));
        }
        const std::string now = world::sql(root_, "PRAGMA integrity_check; SELECT * FROM events ORDER BY id");
        ASSERT_TRUE(now.starts_with(events)) << "an event was lost or changed" << now;
        events = now;
    }
    EXPECT_EQ(tell("record >/dev/null") + tell("watch scan --record >/dev/null"), "");
    EXPECT_EQ(world::sql(root_, "SELECT name FROM names WHERE sessionId='" + session + "' AND validTo IS NULL"), name)
        << "the last round makes good what earlier ones could not write";
}

}  // namespace brellin
