#include "BrellinCore/platform/FileLock.h"
#include "BrellinCore/store/Transaction.h"
#include "tests/world/Household.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <optional>
#include <random>
#include <thread>

namespace brellin {

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using world::LiveProcess;
using world::sql;
using world::withoutRights;

/// Until something is so. ctest ends a wait that is in vain.
void waitUntil(const std::function<bool()>& isSo) {
    while (!isSo()) {
        std::this_thread::sleep_for(milliseconds(2));
    }
}

/// `havrick record`.
class Recorder : public world::Household {
  protected:
    /// A script in the background; "exec" makes its process that of the program.
    LiveProcess start(const std::string& commands) const { return LiveProcess(script(commands), environment_); }
    /// Lets `ps` be a script, for the executables "-for-faults".
    void replacePs(const std::string& commands) {
        fs::permissions(home_.write("ps", "#!/bin/bash\n" + commands + "\n"), fs::perms::owner_all);
        environment_["HAVRICK_TEST_PS"] = home_ / "ps";
    }
    /// All events as the server tells them.
    std::string events() const {
        return sql(root_, "SELECT '    ' || kind || ' (' || certainty || ') — ' || detail FROM events ORDER BY id");
    }
    std::string kinds() const { return sql(root_, "SELECT kind FROM events ORDER BY id"); }
    /// Until so many rounds have ended. Only the first of them began before.
    void waitForRounds(int count) const {
        const auto lastRound = [&] { return std::atoll(sql(root_, "SELECT max(lastSeen) FROM accounts").c_str()); };
        waitUntil([&] { return lastRound() != 0; });
        for (; count > 0; --count) {
            waitUntil([&, before = lastRound()] { return lastRound() > before; });
        }
    }
};

}  // namespace

TEST_F(Recorder, TellsADayEachEventOnceAndInOrder) {
    std::optional<LiveProcess> first(std::in_place);
    const LiveProcess second;
    const auto declares = [&](const LiveProcess& process, const char* account, const char* name, const char* socket) {
        const std::string members = fmt::format("'pid':{},'procStart':'{}','messagingSocketPath':'{}','name':'{}',",
                                                process.pid(), world::startOf(process.pid()), socket, name);
        return [=, this] { declare(account, "s-1", members); };
    };
    const auto removes = [&](const std::string& file) { return [=, this] { fs::remove(home_ / file); }; };
    // What happens, what the recorder says of it, and the session's address then.
    const std::tuple<std::function<void()>, std::string, std::string> day[] = {
        {declares(*first, ".claude", "a", "/s"), "seen a [59c7ba] · main", "a [59c7ba]"},
        {declares(*first, ".claude", "b", "/s"), "renamed b [59c7ba] · main", "b [59c7ba]"},
        {[&] { first.reset(); }, "died b [59c7ba] · main", "b [59c7ba]"},
        {declares(second, ".claude-work", "b", "/s"), "revived b [59c7ba] · work", "b [59c7ba]"},
        {declares(second, ".claude-work", "b", "/k9h"), "restarted b [0f0705] · work", ""},
        {removes(".claude/sessions/s-1.json"), "", "b [0f0705]"},
        {removes(".claude-work/sessions/s-1.json"), "undeclared b [0f0705] · work", ""},
        {declares(second, ".claude", "b", "/k9h"), "returned b [0f0705] · main", "b [0f0705]"},
        {removes(".claude/sessions/s-1.json"), "left b [0f0705] · main", ""}};
    home_.makeDirectory(".claude-work");
    const LiveProcess recording = start("exec bin/havrick record --every 0.01 >log 2>errors");
    waitUntil([&] { return fs::exists(root_ + "/havrick.db"); });
    std::string told;
    for (const auto& [happen, line, address] : day) {
        happen();
        told += line + (line.empty() ? "" : " · s-1\n");
        waitForRounds(4);
        ASSERT_EQ(runIn("cut -c 27- log").output, told) << "also after a second look";
        if (!address.empty()) {
            const std::string who = ask("who", "s");
            EXPECT_TRUE(who.starts_with(address + "\n") && who.ends_with("  Events:\n" + events())) << who;
            const std::string name = address.substr(0, 1);
            EXPECT_TRUE(ask("resolve", name).starts_with("`" + name + "` currently delivers to " + address));
        }
    }
    EXPECT_EQ(tell("history s | sed -n '/Events:/,$ s/^.* +0000 — /    /p'"), events() + "\n");
    EXPECT_EQ(sql(root_, "SELECT name, ref, validTo IS NULL FROM names ORDER BY id"),
              "a|59c7ba|0\nb|59c7ba|0\nb|0f0705|0\nb|0f0705|0");
    EXPECT_EQ(sql(root_, "SELECT kind FROM events WHERE certainty = 'inferred'"), "restarted");
    EXPECT_EQ(
        runIn("sed -E 's/PID [0-9]+/PID/g' errors").output,
        fmt::format("havrick: session s-1 is declared twice: {0}/.claude-work with PID counts, {0}/.claude with PID "
                    "does not\n",
                    home_.path()));
}

TEST_F(Recorder, SaysEachChangeOnOneLine) {
    declare("s\\n-1", reachable() + "'name':'a\\n\\u001B[1m\\u202Eb',");
    EXPECT_EQ(tell("record | cut -c 27-"), "seen a\uFFFD\uFFFD[1m\uFFFDb [59c7ba] · main · s\uFFFD-1\n");
    EXPECT_EQ(tell("record"), "");
    fs::remove_all(home_ / ".claude");
    EXPECT_EQ(tell(R"(record --json | sed -E 's/"at":[0-9]+,"atTime":"[^"]+Z"/AT/; s/,"accountPath":"[^"]+"//')"),
              R"({AT,"kind":"undeclared","certainty":"observed","detail":"no longer has a registry entry in any )"
              R"(enumerated account","sessionId":"s\n-1","accountLabel":"main","name":"a\n\u001b[1m)"
              "\u202Eb\",\"ref\":\"59c7ba\"}\n");
}

TEST_F(Recorder, LooksAgainBeforeASessionCountsAsGone) {
    declare("s", reachable() + "'name':'n',");
    const std::string file = ".claude/sessions/s.json";
    const std::string whole = home_.read(file);
    const std::string half = whole.substr(0, whole.size() / 2);
    std::string events;
    for (int attempt = 0; attempt == 0 || (kinds() != events && attempt < 5); ++attempt) {  // busy machines are late
        tell("record");
        events = kinds();
        home_.write(file, half);
        LiveProcess recording = start("exec bin/havrick record >log");
        std::this_thread::sleep_for(milliseconds(50));
        home_.write(file, whole);
        EXPECT_EQ(recording.wait(), 0);
    }
    EXPECT_EQ(kinds(), events);
    home_.write(".claude/sessions/garbage.json", "garbage");
    home_.write(file, half);
    EXPECT_EQ(tell("record | cut -c 27-"), "undeclared n [59c7ba] · main · s\n");
    home_.write(file, whole);
    EXPECT_EQ(tell("record | cut -c 27-"), "returned n [59c7ba] · main · s\n");
}

TEST_F(Recorder, LetsSessionsThatItCannotSeeKeepTheirState) {
    declare("a", reachable() + "'name':'n',");
    declare(".claude-work", "b", reachable());
    tell("record");
    const std::string state = "SELECT count(*) FROM events; SELECT count(*) FROM names WHERE validTo IS NULL";
    const std::string before = sql(root_, state);
    const std::string record = withoutRights + "bin/havrick record; chmod 700 ";
    for (const auto& [commands, told] :
         {std::pair{"chmod 0 .claude/sessions; " + record + ".claude/sessions",
                    home_ / ".claude/sessions cannot be listed; its sessions keep their state"},
          {"chmod 311 .; " + record + ".",
           "the home directory cannot be listed; sessions of accounts that only it names keep their state"}}) {
        const auto run = runIn(commands);
        EXPECT_EQ(run.output + run.errors, "havrick: " + told + "\n");
        EXPECT_EQ(sql(root_, state), before);
    }
    EXPECT_EQ(tell("record"), "");
}

TEST_F(Recorder, WaitsForOtherWritersUntilItIsToStop) {
    tell("record");
    declare("s", alive());
    replacePs("echo > asked; exec /bin/ps \"$@\"");
    Database other(root_ + "/havrick.db");
    for (const bool isToStop : {true, false}) {
        std::optional<Transaction> writing(std::in_place, other);
        fs::remove(home_ / "asked");
        LiveProcess recording = start("exec bin/havrick-for-faults record 2>errors");
        waitUntil([&] { return fs::exists(home_ / "asked"); });
        std::this_thread::sleep_for(milliseconds(100));  // by now it wants to write
        if (isToStop) {
            ::kill(recording.pid(), SIGTERM);
            std::this_thread::sleep_for(milliseconds(300));  // it must not write now, even though it could
        }
        writing.reset();
        EXPECT_EQ(recording.wait(), isToStop ? 1 : 0);
        EXPECT_EQ(home_.read("errors"), isToStop ? "havrick: interrupted; nothing was written\n" : "");
        EXPECT_EQ(kinds(), isToStop ? "" : "seen");
    }
}

TEST_F(Recorder, EndsWithoutAnAnswerOfPsWhenItIsToStop) {
    declare("s", alive());
    replacePs("echo > \"$HAVRICK_ROOT.asked\"; sleep 6; echo > late; sleep 1000");
    LiveProcess single = start("HAVRICK_ROOT=$PWD/single exec bin/havrick-for-faults record 2>errors");
    LiveProcess repeated = start("HAVRICK_ROOT=$PWD/repeated exec bin/havrick-for-faults record --every 0");
    waitUntil([&] { return fs::exists(home_ / "single.asked") && fs::exists(home_ / "repeated.asked"); });
    ::kill(single.pid(), SIGTERM);
    ::kill(repeated.pid(), SIGINT);
    EXPECT_EQ(single.wait(), 1);
    EXPECT_EQ(repeated.wait(), 0);
    EXPECT_EQ(home_.read("errors"), "havrick: interrupted; nothing was written\n");
    EXPECT_FALSE(fs::exists(home_ / "late")) << "two seconds, not ten";
    for (const char* root : {"single", "repeated"}) {
        EXPECT_EQ(sql(home_ / root, "SELECT count(*) FROM sessions"), "0") << root;
    }
}

TEST_F(Recorder, TakesASignalToItsGroupForNoAnswerOfPs) {
    declare("s", alive());
    replacePs("sleep 0.02; exec /bin/ps \"$@\"");
    runIn(
        "set -m; for signal in {INT,TERM}\\ {1..15}; do bin/havrick-for-faults record & "
        "sleep 0.0$((RANDOM % 60 + 10)); kill -${signal% *} -- -$!; wait $!; done");
    EXPECT_EQ(tell("record >/dev/null"), "");
    EXPECT_EQ(sql(root_, "SELECT liveness FROM observations"), "alive");
}

TEST_F(Recorder, KeepsItsDataForItsUserAlone) {
    declare("s", alive());
    const auto modes = [&] { return runIn("ls -ld data data/* | cut -c 1-10 | sort -u").output; };
    EXPECT_EQ(runIn("umask 0; bin/havrick record && bin/havrick watch add pid:1").errors, "");
    EXPECT_EQ(modes(), "-rw-------\ndrwx------\n");
    fs::permissions(root_, fs::perms{0755});
    fs::permissions(root_ + "/havrick.db", fs::perms{0644});
    EXPECT_EQ(tell("record"), "havrick: other users could read " + root_ + "; now only you can\n");
    EXPECT_EQ(modes(), "-rw-------\ndrwx------\n");
    EXPECT_EQ(tell("record"), "");
}

TEST_F(Recorder, ComparesWhatTheHistoryKeeps) {
    declare("a\\u0000b", alive() + "'name':'k\\u0000l','status':'x\\u0000y',");
    // The same session twice, with one start; what may be alive counts before what is dead.
    declare("twin", "'name':'t','messagingSocketPath':'/s',");
    declare(".claude-b", "twin", "'pid':999999,'name':'t','messagingSocketPath':'/dead',");
    tell("record");
    EXPECT_EQ(kinds(), "seen\nseen");
    EXPECT_EQ(tell("record 2>/dev/null"), "") << "nothing is news";
    EXPECT_EQ(sql(root_, "SELECT count(*) FROM observations"), "2");
    // The file alone holds everything once the recorder has ended.
    fs::create_directory(home_ / "copy");
    fs::copy(root_ + "/havrick.db", home_ / "copy");
    EXPECT_EQ(sql(home_ / "copy", "SELECT count(*) FROM events"), "2");
}

TEST_F(Recorder, WritesIntoNoDirectoryOfOthers) {
    declare("s", alive());
    fs::create_symlink(home_ / "elsewhere", home_.makeDirectory("data") + "/recorder.lock");
    EXPECT_TRUE(tell("record").starts_with("havrick: the lock " + root_ + "/recorder.lock is a link"));
    EXPECT_FALSE(fs::exists(home_ / "elsewhere"));
    fs::remove(root_ + "/recorder.lock");
    runIn("bin/havrick record; bin/havrick watch add pid:1");
    const auto expectRefusal = [&](const std::string& reason) {
        for (const std::string command : {"record", "record --every 0", "watch add pid:2", "watch scan --record",
                                          "history prune --older-than 1d"}) {
            EXPECT_EQ(tell(command + " 2>&1 >/dev/null"), "havrick: " + reason + "\nexit 1\n") << command;
        }
        EXPECT_EQ(tell("history | cut -d ' ' -f 1"), "s\n") << "who reads is not concerned";
    };
    for (const unsigned mode : {0720U, 0702U}) {
        fs::permissions(root_, fs::perms{mode});
        expectRefusal(
            fmt::format("other users can write to the data directory {0}: run `chmod go-w '{0}'` first", root_));
    }
    fs::permissions(root_, fs::perms{0755});
    if (::geteuid() == 0 && ::chown(root_.c_str(), 65534, 65534) == 0) {  // which not every root may do
        expectRefusal("the data directory " + root_ + " belongs to another user: run havrick as that user, or set " +
                      "HAVRICK_ROOT to a directory of your own");
        EXPECT_EQ(::chown(root_.c_str(), 0, 0), 0);
    }
}

TEST_F(Recorder, RefusesToRecordBesideAnother) {
    tell("watch add pid:1");
    const FileLock recording(root_ + "/recorder.lock", FileLock::Contention::refuse);
    const FileLock scanning(root_ + "/watch-recorder.lock", FileLock::Contention::refuse);
    for (const auto& [command, job] :
         {std::pair{"record", "a recorder"}, {"watch scan --record", "a recorder of watched targets"}}) {
        const auto refusal =
            fmt::format("havrick: {} is at work on {} already: process {}\nexit 1\n", job, root_, ::getpid());
        EXPECT_EQ(tell(command), refusal);
        EXPECT_EQ(tell(std::string(command) + " --every 0"), refusal);
    }
}

TEST_F(Recorder, BeginsAnewWhereItsDataWasMovedAndEndsWhenAsked) {
    declare("abc", "");
    LiveProcess recording = start("exec bin/havrick record --every 0.01 >log");
    waitUntil([&] { return fs::exists(root_ + "/havrick.db"); });
    waitForRounds(2);
    fs::rename(root_, home_ / "moved");
    waitUntil([&] { return fs::exists(root_ + "/havrick.db"); });
    waitForRounds(2);  // the round before may have begun in the old place
    EXPECT_EQ(FileLock(root_ + "/recorder.lock", FileLock::Contention::refuse).holder(), recording.pid());
    ::kill(recording.pid(), SIGTERM);
    EXPECT_EQ(recording.wait(), 0);
    EXPECT_EQ(kinds(), "seen");
}

// HAVRICK_SOAK_SECONDS makes it longer.
TEST_F(Recorder, AllWritersSideBySideLoseNothingWhenTheyAreKilled) {
    const char* soak = std::getenv("HAVRICK_SOAK_SECONDS");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(soak == nullptr ? 2 : std::atoi(soak));
    tell("watch add cmd:sleep port:1");
    tell("record");
    std::mt19937 random(1);
    std::string session;
    std::string name;
    std::string events = "ok";
    for (int kill = 0; std::chrono::steady_clock::now() < end; ++kill) {
        session = fmt::format("session-{}", random() % 10);
        name = fmt::format("n{}", random() % 3);
        declare(session, alive() + fmt::format("'messagingSocketPath':'/{}','name':'{}',", random() % 3, name));
        {
            const LiveProcess killed = start("exec bin/havrick record --every 0 >log");
            EXPECT_EQ(kill % 8 == 0 ? tell("watch scan --record >/dev/null") : "", "");
            EXPECT_FALSE(kill % 4 == 0 && ask("send", "session-").starts_with("error"));
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 25000));
        }
        const std::string now = sql(root_, "PRAGMA integrity_check; SELECT * FROM events ORDER BY id");
        ASSERT_TRUE(now.starts_with(events)) << "an event was lost or changed" << now;
        events = now;
    }
    EXPECT_EQ(tell("record >/dev/null") + tell("watch scan --record >/dev/null"), "");
    EXPECT_EQ(sql(root_, "SELECT name FROM names WHERE sessionId='" + session + "' AND validTo IS NULL"), name)
        << "the last round makes good what earlier ones could not write";
    EXPECT_EQ(sql(root_,
                  "SELECT sessionId, count(*), (SELECT count(*) FROM events WHERE sessionId = names.sessionId AND "
                  "kind IN ('renamed', 'restarted', 'reincarnated')) AS changes FROM names "
                  "WHERE sessionId LIKE 'session-%' GROUP BY sessionId HAVING count(*) <> changes + 1"),
              "")
        << "each window but the first began with an event";
}

}  // namespace brellin
