#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/watch/TargetProbe.h"
#include "BrellinCore/watch/TargetScanner.h"
#include "tests/world/Household.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brellin {

namespace {

using Snapshots = std::vector<ProcessSnapshot>;

TargetVerdict probeTheSystem(const WatchTarget& target) {
    return TargetProbe::verdict(target, TargetProbe::Enumerators::system());
}

/// A verdict on one line: state, method, occupants, diagnostic.
std::string summary(const TargetVerdict& verdict) {
    std::string text = fmt::format("{} {}", rawValue(verdict.state), verdict.method);
    for (const ProcessSnapshot& occupant : verdict.occupants) {
        text += fmt::format(" [{} {}]", occupant.occupantRef(), occupant.command);
    }
    return text + (verdict.diagnostic ? " · " + *verdict.diagnostic : "");
}

}  // namespace

TEST(TargetProbe, DecidesFromWhatTheEnumeratorsSay) {
    const Snapshots table = {{30, "node a.js", "s"}, {12, "node b.js", {}}, {20, "vim", {}}, {12, "node c.js", {}}};
    const Snapshots two = {{9, "x", {}}, {8, "", {}}};
    const Snapshots none;
    const std::string start = "Mon Nov 3 09:05:07 2026";
    const std::string undecided = " — PID recycling cannot be ruled out";
    const auto node = WatchTarget::command("node");
    const auto port = WatchTarget::port(80);
    const auto declared = WatchTarget::pid(7, start);
    const std::string seven = "[7@" + start + " pid 7]";
    // What the process table and the listeners are, whether the process exists, and the verdict.
    const std::tuple<WatchTarget, std::optional<Snapshots>, bool, std::string> cases[] = {
        {node, table, false, "alive ps [12@? node b.js] [12@? node c.js] [30@s node a.js]"},
        {node, none, false, "stale ps · no process whose argv contains “node”"},
        {node, {}, false, "unknown ps · ps could not be enumerated — the command’s presence cannot be decided"},
        {port, two, false, "alive lsof [8@? ] [9@? x]"},
        {port, none, false, "stale lsof · nobody is listening on port 80"},
        {port, {}, false, "unknown lsof · lsof could not run — the port’s occupant cannot be decided"},
        {WatchTarget::pid(7), none, true, "unknown kill(pid,0) " + seven + " · no procStart baseline" + undecided},
        {declared, none, true, "alive kill(pid,0) + procStart " + seven},
        {declared, {}, true, "unknown kill(pid,0) " + seven + " · procStart unavailable (ps unreadable)" + undecided},
        {declared, none, false, "stale kill(pid,0) · no process with PID 7"}};
    for (const auto& each : cases) {
        const auto& [target, seen, exists, expected] = each;
        const auto verdict = TargetProbe::verdict(
            target, {[&] { return std::get<1>(each); }, [&](std::uint16_t) { return std::get<1>(each); },
                     [&](std::int32_t) { return std::get<2>(each); },
                     [&](std::int32_t) { return std::get<1>(each) ? std::optional(start) : std::nullopt; }});
        EXPECT_EQ(verdict.target, target);
        EXPECT_EQ(summary(verdict), expected);
    }
}

TEST(TargetProbe, ReadsPsAndLsof) {
    EXPECT_EQ(TargetProbe::processesInPsOutput("  12 Mon Nov  3 09:05:07 2026 node  a.js\t-x \n"
                                               "x Mon Nov 3 09:05:07 2026 bad pid\n"
                                               "13 Mon Nov 3 09:05:07 2026\n\n"
                                               "99999999999 Mon Nov 3 09:05:07 2026 too large\n"
                                               "-1\tMon Nov 3 09:05:07 2026 [k]"),
              (Snapshots{{12, "node a.js -x", "Mon Nov 3 09:05:07 2026"}, {-1, "[k]", "Mon Nov 3 09:05:07 2026"}}));
    EXPECT_EQ(TargetProbe::listenersInLsofOutput("cearly\np100\ncabc\np101\nc\np\ncxyz\np100\nf4\ncabd\n"),
              (Snapshots{{100, "abd", {}}, {101, "", {}}}));
}

TEST(TargetProbe, FindsRealProcesses) {
    const std::string mark = fmt::format("sleep 1000.{}", ::getpid());
    const WatchTarget command = WatchTarget::command(mark);
    std::int32_t pid = 0;
    {
        const world::LiveProcess process({"/bin/sleep", mark.substr(6)});
        pid = process.pid();
        TargetVerdict found = probeTheSystem(command);
        while (found.state == Liveness::stale) {  // it may not have come to be `sleep` yet
            found = probeTheSystem(command);
        }
        ASSERT_EQ(found.occupants.size(), 1U) << found.diagnostic.value_or("");
        EXPECT_EQ(found.primaryOccupant()->pid, pid);
        EXPECT_EQ(found.primaryOccupant()->command, "/bin/" + mark);
        EXPECT_EQ(probeTheSystem(WatchTarget::pid(pid, process.procStart())).state, Liveness::alive);
    }
    EXPECT_EQ(probeTheSystem(WatchTarget::pid(pid)).state, Liveness::stale);
    EXPECT_EQ(probeTheSystem(command).state, Liveness::stale);
}

// A port held by one process, then by another, then by nobody.
TEST(TargetHistory, TellsWhoHeldARealPort) {
    Descriptor socket{::socket(AF_INET, SOCK_STREAM, 0)};
    ASSERT_EQ(::listen(socket.get(), 1), 0) << "at a port that the system picks";
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    ASSERT_EQ(::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    const auto port = ntohs(address.sin_port);

    const world::TemporaryDirectory root;
    Store store(root.path());
    const auto scan = [&](std::int64_t now) {
        const auto outcome = TargetScanner::scan({WatchTarget::port(port)}, &store, true, now, probeTheSystem);
        EXPECT_EQ(outcome.writeError, std::nullopt);
        return outcome.results.at(0).verdict;
    };
    const auto first = scan(1).occupants.at(0);
    EXPECT_EQ(first.pid, ::getpid());
    EXPECT_EQ(first.startRaw, LivenessProbe::processStartUTCString(::getpid()));
    scan(2);
    const pid_t heir = ::fork();
    if (heir == 0) {
        ::pause();
        ::_exit(0);
    }
    socket.close();
    const auto second = scan(3).occupants.at(0);
    EXPECT_EQ(second.pid, heir);
    ::kill(heir, SIGKILL);
    ::waitpid(heir, nullptr, 0);
    EXPECT_EQ(scan(4).state, Liveness::stale);
    EXPECT_EQ(world::sql(root.path(), "SELECT at, kind, certainty FROM events"),
              "1|occupied|observed\n3|reoccupied|observed\n4|vacated|observed");
    EXPECT_EQ(world::sql(root.path(), "SELECT name, source, validFrom, validTo FROM names"),
              fmt::format("{}|measured|1|3\n{}|measured|3|4", first.command, second.command));
}

TEST(TargetHistory, FollowsATargetThroughItsLife) {
    const world::TemporaryDirectory root;
    Store store(root.path());
    const WatchTarget target = WatchTarget::command("x");
    const auto held = [&](std::int32_t pid, std::optional<std::string> start) {
        return TargetVerdict{target, Liveness::alive, "ps", {}, {{pid, "x y", std::move(start)}, {99, "x", {}}}};
    };
    const TargetVerdict nobody{target, Liveness::stale, "ps", "gone", {}};
    const TargetVerdict undecided{target, Liveness::unknown, "ps", "?", {{7, "pid 7", {}}}};
    const TargetVerdict script[] = {nobody,       undecided, held(5, {}), held(5, {}), undecided,
                                    held(5, "s"), nobody,    nobody,      held(5, "s")};
    std::int64_t now = 0;
    for (const TargetVerdict& verdict : script) {
        TargetScanner::scan({target}, &store, true, ++now, [&](const WatchTarget&) { return verdict; });
    }
    EXPECT_EQ(world::sql(root.path(), "SELECT at, kind, detail FROM events"),
              "3|occupied|command ~ “x”: held by x y [5@?]\n"
              "6|reoccupied|command ~ “x”: x y [5@?] → x y [5@s] · a new process, not who it was\n"
              "7|vacated|command ~ “x”: nobody holds it any more\n"
              "9|occupied|command ~ “x”: held by x y [5@s]");
    EXPECT_EQ(world::sql(root.path(), "SELECT group_concat(pid), min(reportedStatus) FROM observations"),
              "0,7,5,5,7,5,0,0,5|-");
    EXPECT_EQ(world::sql(root.path(), "SELECT * FROM sessions"), "cmd:x|watch:command ~ “x”|-|-|1|9");
}

TEST(TargetScanner, GivesEveryVerdictWhenNothingCanBeWritten) {
    const world::TemporaryDirectory root;
    Store store(root.path());
    const std::vector<WatchTarget> targets = {WatchTarget::pid(1), WatchTarget::port(1)};
    const auto probe = [](const WatchTarget& target) { return TargetVerdict{target, Liveness::stale, "m", "d", {}}; };
    for (const auto& outcome : {TargetScanner::scan(targets, nullptr, true, 1, probe),
                                TargetScanner::scan(targets, &store, false, 1, probe)}) {
        EXPECT_EQ(outcome.results.at(1), (TargetScanResult{probe(targets[1]), std::nullopt}));
        EXPECT_EQ(outcome.writeError, std::nullopt);
    }
    TargetScanner::scan({targets[1]}, &store, true, 1, probe);
    store.appendEvent("port:1", "old", std::nullopt, "observed", 1);
    for (const char* table : {"sessions", "observations"}) {
        store.rawExecForTesting(fmt::format(
            "CREATE TRIGGER no_{0} BEFORE INSERT ON {0} BEGIN SELECT RAISE(ABORT, 'no \"{0}\"'); END", table));
    }
    const auto outcome = TargetScanner::scan(targets, &store, true, 2, probe);
    EXPECT_EQ(outcome.writeError, "history could not be written: step(\"no \\\"sessions\\\"\")");
    EXPECT_EQ(outcome.results.at(0).events, std::vector<StoredEvent>());
    EXPECT_EQ(outcome.results.at(1).events, (std::vector<StoredEvent>{{1, "old", std::nullopt, "observed"}}));
    EXPECT_EQ(outcome.results.at(1).verdict, probe(targets[1]));
}

}  // namespace brellin
