#include "BrellinCore/text/Split.h"
#include "tests/world/Household.h"

#include <boost/json/parse.hpp>
#include <fmt/format.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <thread>

namespace brellin {

namespace {

using namespace std::chrono_literals;
using Words = std::vector<std::string>;

/// The companion, on declarations of the home's own account.
class Companion : public world::Household {
  protected:
    world::ProgramRun run(Words words) const {
        words.insert(words.begin(), HAVRICK_EXECUTABLE);
        return world::runProgram(words, environment_);
    }
    world::ProgramRun runShell(const std::string& arguments) const {
        return world::runProgram({"/bin/bash", "-c", HAVRICK_EXECUTABLE " " + arguments}, environment_);
    }
    void declare(std::string_view id, std::string_view members) const { Household::declare(".claude", id, members); }
    /// A recorder in the background: a child of this process that can be killed.
    world::LiveProcess recorder(const std::string& every) const {
        return world::LiveProcess({"/usr/bin/env", "HOME=" + home_.path(), "HAVRICK_ROOT=" + root_, HAVRICK_EXECUTABLE,
                                   "record", "--every", every});
    }
    std::string events() const { return world::sql(root_, "SELECT * FROM events ORDER BY id"); }
};

/// A line of the form "<date> <time> +0000 <change>" without its time.
std::string changesIn(const std::string& output) {
    std::string changes;
    for (const std::string_view line : splitDroppingEmpty(output, "\n")) {
        changes.append(line.substr(std::min(line.find("+0000 ") + 6, line.size()))).append(" ");
    }
    return changes;
}

}  // namespace

TEST_F(Companion, TellsWhatAnAgentIsTold) {
    declare("abc", reachable() + "'name':'n','startedAt':7,");
    for (const Words& words :
         {Words{"now"}, {"accounts"}, {"who", "abc"}, {"who", "x"}, {"who", ""}, {"send", "a"}, {"resolve", "n"}}) {
        const auto answer = ask("havrick_" + words[0], words.size() == 1 ? "" : words[1]);
        const auto told = run(words);
        EXPECT_EQ(told.output, answer.text + "\n");
        EXPECT_EQ(told.errors, "");
        EXPECT_EQ(told.exitStatus, answer.isError ? 1 : 0) << words[0];
    }
    const std::string now = fmt::format(
        R"({{"accountCount":1,"sessions":[{{"sessionId":"abc","pid":{},"accountPath":"{}/.claude","startedAt":7,)"
        R"("procStartRaw":"{}","socketPath":"/s","name":"n","peerRef":"59c7ba","peerAddress":"n [59c7ba]",)"
        R"("accountLabel":"main","verdict":{{"state":"alive","method":"kill(pid,0) + procStart"}}}}]}})",
        process_.pid(), home_.path(), process_.procStart());
    EXPECT_EQ(boost::json::parse(run({"now", "--json"}).output), boost::json::parse(now));
    const auto accounts = boost::json::parse(run({"accounts", "--json"}).output);
    EXPECT_EQ(accounts.at("accounts").at(0).at("sources"), (boost::json::array{"defaultHome"}));
    EXPECT_EQ(accounts.at("caveats").as_array().size(), 1U);
}

TEST_F(Companion, UsageErrorsGoToStandardError) {
    for (const char* arguments : {"", "nonsense", "who", "now extra", "record --every x", "record --every -1",
                                  "record --every nan", "watch", "watch add"}) {
        const auto told = runShell(arguments);
        EXPECT_EQ(told.exitStatus, 2);
        EXPECT_EQ(told.output, "");
        EXPECT_TRUE(told.errors.starts_with("havrick: ")) << told.errors;
    }
    EXPECT_EQ(run({"--version"}).output, "havrick 1.0.2\n");
    EXPECT_EQ(run({"watch", "scan", "--help"}).exitStatus, 0);
#ifdef __linux__
    EXPECT_EQ(runShell("--help >/dev/full").exitStatus, 0);
    const auto full = runShell("now >/dev/full");
    EXPECT_EQ(full.exitStatus, 1);
    EXPECT_EQ(full.errors, "havrick: standard output cannot be written\n");
#endif
}

// The history is written by one executable and told by the other.
TEST_F(Companion, RecordsWhatTheServerTells) {
    declare("abc-123456", reachable() + "'name':'old',");
    EXPECT_EQ(run({"history"}).exitStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(root_)) << "asking for a history makes none";
    EXPECT_EQ(changesIn(run({"record"}).output), "seen:abc-1234 ");
    EXPECT_EQ(run({"record"}).output, "");
    declare("abc-123456", reachable() + "'name':'new',");
    const std::string renaming = run({"record"}).output;
    EXPECT_EQ(changesIn(renaming), "renamed:new ");
    EXPECT_TRUE(ask("havrick_resolve", "old")
                    .text.starts_with("`old` has EXPIRED (valid until " +
                                      renaming.substr(0, renaming.find(" renamed")) + ")."));
    std::filesystem::remove_all(home_ / ".claude");
    EXPECT_EQ(changesIn(run({"record"}).output), "undeclared:abc-1234 ");
    const std::string history = run({"history", "abc"}).output;
    EXPECT_EQ(history.substr(0, history.find("  seen ")),
              fmt::format("abc-123456\n  account : {}/.claude\n  cwd     : unknown\n", home_.path()));
    EXPECT_NE(history.find(" to now — new [59c7ba]\n"), std::string::npos) << history;
    EXPECT_NE(history.find("+0000 — undeclared (observed) — no longer has a registry"), std::string::npos) << history;
    EXPECT_EQ(run({"history", "zzz"}).exitStatus, 1);
}

TEST_F(Companion, KeepsAWatchListAndScansIt) {
    const auto added = run({"watch", "add", "pid:1", "bogus", "pid:+1", "cmd:a/b"});
    EXPECT_EQ(added.exitStatus, 1);
    EXPECT_EQ(added.errors,
              "havrick: \"bogus\" is no watch spec; these are: pid:<number>, cmd:<text>, port:<number>\n"
              "havrick: pid:1 is watched already\n");
    EXPECT_EQ(run({"watch", "remove", "pid:2"}).errors, "havrick: pid:2 is not watched\n");
    EXPECT_EQ(run({"watch", "list"}).output, "pid:1 — PID 1\ncmd:a/b — command ~ “a/b”\n");
    home_.write("data/watchlist.json", R"(["pid:0","x"])");
    EXPECT_EQ(run({"watch", "add", "port:1"}).exitStatus, 1);
    home_.write("data/watchlist.json", "no list");
    EXPECT_EQ(run({"watch", "add", "port:1"}).exitStatus, 1);
    EXPECT_EQ(world::contentOf(root_ + "/watchlist.json"), "no list") << "not without --force";
    EXPECT_EQ(run({"watch", "add", "--force", "pid:0"}).exitStatus, 0);
    const auto scanned = run({"watch", "scan"});
    EXPECT_EQ(scanned.output.substr(scanned.output.find('\n')),
              "\n✕ PID 0\n    stale via kill(pid,0)\n    ⚠ no process with PID 0\n");
    EXPECT_FALSE(std::filesystem::exists(root_ + "/havrick.db"));
    EXPECT_EQ(run({"watch", "scan", "--record"}).exitStatus, 0);
    EXPECT_TRUE(run({"history", "pid:"}).output.starts_with("pid:0\n  watched : PID 0\n  seen    : "));
    std::filesystem::remove(root_ + "/havrick.db");
    home_.makeDirectory("data/havrick.db");
    const auto unrecorded = run({"watch", "scan", "--record"});
    EXPECT_EQ(unrecorded.output.substr(unrecorded.output.find('\n')), scanned.output.substr(scanned.output.find('\n')));
    EXPECT_EQ(unrecorded.exitStatus, 1);
    EXPECT_EQ(unrecorded.errors,
              "havrick: the history " + root_ + "/havrick.db cannot be opened: unable to open database file\n");
}

TEST_F(Companion, OneRecorderAtATimeAndItEndsWhenAsked) {
    declare("abc", "");
    world::LiveProcess first = recorder("0.01");
    while (events().find("seen") == std::string::npos) {
        std::this_thread::sleep_for(5ms);
    }
    const auto second = run({"record"});
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_EQ(second.errors,
              fmt::format("havrick: a recorder is at work on {} already: process {}\n", root_, first.pid()));
    ::kill(first.pid(), SIGTERM);
    int status = -1;
    ASSERT_EQ(::waitpid(first.pid(), &status, 0), first.pid());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(run({"record"}).exitStatus, 0);
}

TEST_F(Companion, LosesNothingHoweverItIsKilled) {
    std::mt19937 random(1);
    for (int id = 0; id < 50; ++id) {
        declare(fmt::format("session-{}", id), "'name':'n',");
    }
    std::string before;
    for (int kill = 0; kill < 200; ++kill) {
        declare(fmt::format("session-{}", random() % 50), fmt::format("'name':'{}',", random()));
        {
            const world::LiveProcess killed = recorder("0");
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 25000));
        }
        std::string after = std::filesystem::exists(root_ + "/havrick.db") ? events() : "";
        if (after == "no such table: events") {
            after = "";  // killed before it had made one
        }
        ASSERT_TRUE(after.starts_with(before)) << "an event was lost or changed";
        if (std::filesystem::exists(root_ + "/havrick.db")) {
            ASSERT_EQ(world::sql(root_, "PRAGMA integrity_check"), "ok");
        }
        before = after;
    }
    EXPECT_EQ(run({"record"}).exitStatus, 0);
    EXPECT_EQ(world::sql(root_, "SELECT count(*), count(DISTINCT sessionId) FROM events WHERE kind='seen'"), "50|50")
        << "what a killed round left undone is made good";
}

// HAVRICK_SOAK_SECONDS makes it longer.
TEST_F(Companion, AllWritersSideBySideKeepTheHistoryWhole) {
    const char* seconds = std::getenv("HAVRICK_SOAK_SECONDS");
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::seconds(seconds == nullptr ? 3 : std::atoi(seconds));
    declare("abc", reachable() + "'name':'n',");
    EXPECT_EQ(run({"record"}).exitStatus, 0);
    run({"watch", "add", fmt::format("pid:{}", process_.pid()), "cmd:sleep", "port:1"});
    const ToolResult expected = ask("havrick_send", "abc");
    const std::string members = reachable();

    const auto repeat = [&](const std::function<void()>& work) {
        return std::thread([=] {
            while (std::chrono::steady_clock::now() < end) {
                work();
            }
        });
    };
    // A write that met another's lock is told, and nothing else goes wrong.
    const auto writes = [&](const Words& words) {
        return [=, this] {
            const auto done = run(words);
            EXPECT_TRUE(done.exitStatus == 0 || done.errors.find("database is locked") != std::string::npos)
                << done.exitStatus << done.errors;
        };
    };
    int name = 0;
    std::thread renamer = repeat([&] {
        declare("abc", fmt::format("{}'name':'n{}',", members, ++name));
        writes({"record"})();
    });
    std::thread scanner = repeat(writes({"watch", "scan", "--record"}));
    std::thread sender = repeat([&] {
        const auto answer = ask("havrick_send", "abc");
        EXPECT_FALSE(answer.isError);
        EXPECT_GE(answer.text.size(), expected.text.size());
    });
    renamer.join();
    scanner.join();
    sender.join();
    EXPECT_EQ(run({"record"}).exitStatus, 0);
    EXPECT_EQ(run({"watch", "scan", "--record"}).exitStatus, 0);
    EXPECT_EQ(world::sql(root_, "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(world::sql(root_, "SELECT name FROM names WHERE sessionId='abc' AND validTo IS NULL"),
              fmt::format("n{}", name))
        << "the last round makes good what earlier ones could not write";
}

TEST_F(Companion, EndsQuietlyWhenNobodyReadsOn) {
    for (int id = 0; id < 2000; ++id) {
        declare(fmt::format("session-{}", id), "'pid':0,");
    }
    const auto told = runShell("now | head -1; echo ${PIPESTATUS[0]}");
    EXPECT_EQ(told.output, "2000 declared sessions across 1 accounts:\n0\n");
    EXPECT_EQ(told.errors, "");
}

}  // namespace brellin
