#include "BrellinCore/platform/Descriptor.h"
#include "tests/world/Household.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace brellin {

namespace {

namespace fs = std::filesystem;
using world::startOf;

class Companion : public world::Household {};

}  // namespace

TEST_F(Companion, TellsWhatAnAgentIsTold) {
    declare("abc", reachable() +
                       "'cwd':'/w','startedAt':7,'name':'n','nameSource':'derived','nameSince':8,'status':'idle',"
                       "'version':'2',");
    for (const auto& [tool, argument] : {std::pair{"now", ""},
                                         {"accounts", ""},
                                         {"who", "abc"},
                                         {"who", "n"},
                                         {"send", "'n [59c7ba]'"},
                                         {"resolve", "n"}}) {
        const bool isName = std::string_view(tool) == "who" || std::string_view(tool) == "send";
        const std::string answer = ask(tool, isName ? "abc" : argument);
        const std::string expected = answer.starts_with("error: ") ? answer.substr(7) + "\nexit 1\n" : answer + "\n";
        EXPECT_EQ(tell(fmt::format("{} {}", tool, argument)), expected);
    }
    EXPECT_EQ(
        tell("now --json"),
        fmt::format(
            R"({{"accountCount":1,"sessions":[{{"sessionId":"abc","pid":{},"accountPath":"{}/.claude","cwd":"/w",)"
            R"("startedAt":7,"startedAtTime":"1970-01-01T00:00:00.007Z","procStartRaw":"{}","socketPath":"/s","name":"n",)"
            R"("nameSource":"derived","nameSince":8,"nameSinceTime":"1970-01-01T00:00:00.008Z",)"
            R"("reportedStatus":"idle","version":"2","peerRef":"59c7ba","peerAddress":"n [59c7ba]",)"
            R"("accountLabel":"main","verdict":{{"state":"alive","method":"kill(pid,0) + procStart"}},"isZombie":false}}]}})"
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
    for (const std::string arguments :
         {"nonsense", "who", "now extra", "record --every x", "record --every -1", "record --every nan",
          "record --keep 1x", "history --since never", "history --until 1.", "history --limit 0", "history prune",
          "history prune --older-than -1d", "watch", "watch add"}) {
        EXPECT_EQ(tell(arguments + " 2>/dev/null"), "exit 2\n") << arguments;
        EXPECT_TRUE(tell(arguments).starts_with("havrick: ")) << arguments;
    }
    for (const auto& [arguments, words] :
         {std::pair{"lisst", "there is no command \"lisst\"; did you mean list?"},
          {"list --stat alive", "havrick list has no option --stat; did you mean --state or --sort?"},
          {"who a b", "\"b\" is one word too many for havrick who"},
          {"resolve --", "havrick resolve needs a query"},
          {"list --sort x", "--sort: \"x\" is none of state, name, account, status, pid, age, directory"},
          {"watch", "havrick watch needs a command: add, remove, list, scan"},
          {"history prune", "havrick history prune needs --older-than"}}) {
        EXPECT_TRUE(tell(arguments).starts_with(std::string("havrick: ") + words + "\n")) << tell(arguments);
    }
    EXPECT_EQ(tell("| grep -c 'list, ls'") + tell("help watch add | grep -c -e --force"), "1\n1\n");
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

TEST_F(Companion, KeepsAWatchList) {
    EXPECT_EQ(tell("watch add pid:1 $'b\\egus' pid:+1 cmd:a/b"),
              "havrick: \"b\uFFFDgus\" is no watch spec; these are: pid:<number>, cmd:<text>, port:<number>\n"
              "exit 1\n");
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
        return tell("watch scan --record").find(" +0900 — " + event) != std::string::npos;
    };
    EXPECT_EQ(tell("watch scan --json | grep -c '\"state\":\"alive\",\"method\":\"lsof\",\"occupants\":\\[{\"pid\":'"),
              "1\n");
    EXPECT_EQ(tell("watch scan --every 10ms >$HOME/out & sleep 0.3; kill $!; wait $!; grep -c watched $HOME/out"),
              "1\n")
        << "what is known is not told again";
    EXPECT_TRUE(records(fmt::format("occupied (observed) — command ~ “{}”: held by /bin/", command)));
    // A connection to the port stays behind; nobody listens any more.
    const Descriptor client(::socket(AF_INET, SOCK_STREAM, 0));
    ASSERT_EQ(::connect(client.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
    const Descriptor accepted(::accept(listener.get(), nullptr, nullptr));
    listener.close();
    EXPECT_TRUE(records(fmt::format("vacated (observed) — port {}: nobody holds it any more\n", port)));
}

}  // namespace brellin
