#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/watch/TargetProbe.h"
#include "BrellinCore/watch/TargetScanner.h"
#include "tests/world/Database.h"
#include "tests/world/Program.h"
#include "tests/world/TemporaryDirectory.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace brellin {

namespace {

using Snapshots = std::vector<ProcessSnapshot>;

const TargetProbe::Enumerators theSystem = {TargetProbe::psSnapshot, TargetProbe::lsofPort,
                                            LivenessProbe::processExists, LivenessProbe::processStartUTCString};

TargetVerdict probeTheSystem(const WatchTarget& target) {
    return TargetProbe::verdict(target, theSystem);
}

/// A TCP socket listening on a loopback port that the system picks.
struct Listener {
    Descriptor socket{::socket(AF_INET, SOCK_STREAM, 0)};
    std::uint16_t port = 0;

    explicit Listener(std::uint16_t wanted = 0) {
        const int on = 1;
        ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
        sockaddr_in address{AF_INET, htons(wanted), {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t size = sizeof(address);
        auto* name = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(socket.get(), name, size), 0);
        EXPECT_EQ(::listen(socket.get(), 1), 0);
        EXPECT_EQ(::getsockname(socket.get(), name, &size), 0);
        port = ntohs(address.sin_port);
    }
};

}  // namespace

/// A verdict on one line: state, method, occupants, diagnostic.
std::string summary(const TargetVerdict& verdict) {
    std::string text = fmt::format("{} {}", rawValue(verdict.state), verdict.method);
    for (const ProcessSnapshot& occupant : verdict.occupants) {
        text += fmt::format(" [{} {}]", occupant.occupantRef(), occupant.command);
    }
    return text + (verdict.diagnostic ? " · " + *verdict.diagnostic : "");
}

TEST(TargetProbe, DecidesFromWhatTheEnumeratorsSay) {
    const Snapshots table = {{30, "node a.js", "s"}, {12, "node b.js", {}}, {20, "vim", {}}, {12, "node c.js", {}}};
    const Snapshots two = {{9, "x", {}}, {8, "", {}}};
    const std::string start = "Mon Nov 3 09:05:07 2026";
    struct Case {
        WatchTarget target;
        std::optional<Snapshots> seen;  ///< the process table and the listeners
        bool exists;
        std::optional<std::string> start;
        std::string verdict;
    };
    const auto node = WatchTarget::command("node");
    const auto port = WatchTarget::port(80);
    const auto bare = WatchTarget::pid(7);
    const auto declared = WatchTarget::pid(7, start);
    const Case cases[] = {
        {node, table, false, {}, "alive ps [12@? node b.js] [12@? node c.js] [30@s node a.js]"},
        {node, Snapshots{}, false, {}, "stale ps · no process whose argv contains “node”"},
        {node, {}, false, {}, "unknown ps · ps could not be enumerated — the command’s presence cannot be decided"},
        {port, two, false, {}, "alive lsof [8@? ] [9@? x]"},
        {port, Snapshots{}, false, {}, "stale lsof · nobody is listening on port 80"},
        {port, {}, false, {}, "unknown lsof · lsof could not run — the port’s occupant cannot be decided"},
        {bare,
         {},
         true,
         start,
         "unknown kill(pid,0) [7@" + start +
             " pid 7] · no procStart baseline — PID recycling "
             "cannot be ruled out"},
        {declared, {}, true, start, "alive kill(pid,0) + procStart [7@" + start + " pid 7]"},
        {declared,
         {},
         true,
         {},
         "unknown kill(pid,0) [7@" + start +
             " pid 7] · procStart unavailable (ps unreadable) "
             "— PID recycling cannot be ruled out"},
        {declared, {}, false, start, "stale kill(pid,0) · no process with PID 7"},
    };
    for (const Case& each : cases) {
        const auto seen = [&] { return each.seen; };
        const auto verdict = TargetProbe::verdict(
            each.target, {seen, [&](std::uint16_t) { return each.seen; }, [&](std::int32_t) { return each.exists; },
                          [&](std::int32_t) { return each.start; }});
        EXPECT_EQ(verdict.target, each.target);
        EXPECT_EQ(summary(verdict), each.verdict);
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

TEST(TargetProbe, FindsRealProcessesAndListeners) {
    const std::string mark = fmt::format("1000.{}", ::getpid());
    std::int32_t pid = 0;
    {
        const world::LiveProcess process({"/bin/sleep", mark});
        pid = process.pid();
        const auto found = probeTheSystem(WatchTarget::command("sleep " + mark));
        ASSERT_EQ(found.occupants.size(), 1U) << found.diagnostic.value_or("");
        EXPECT_EQ(found.primaryOccupant()->pid, pid);
        EXPECT_EQ(found.primaryOccupant()->command, "/bin/sleep " + mark);
        EXPECT_EQ(probeTheSystem(WatchTarget::pid(pid, process.procStart())).state, Liveness::alive);
        EXPECT_EQ(probeTheSystem(WatchTarget::pid(pid)).state, Liveness::unknown);
    }
    EXPECT_EQ(probeTheSystem(WatchTarget::pid(pid)).state, Liveness::stale);
    EXPECT_EQ(probeTheSystem(WatchTarget::command("sleep " + mark)).state, Liveness::stale);
}

// A port held by one process, then by another, then by nobody.
TEST(TargetHistory, TellsWhoHeldARealPort) {
    const world::TemporaryDirectory root;
    Store store(root.path());
    Listener listener;
    const WatchTarget target = WatchTarget::port(listener.port);
    const auto scan = [&](std::int64_t now) {
        const auto outcome = TargetScanner::scan({target}, &store, true, now, probeTheSystem);
        EXPECT_EQ(outcome.writeError, std::nullopt);
        return outcome.results.at(0);
    };
    const auto first = *scan(1).verdict.primaryOccupant();
    EXPECT_EQ(first.pid, ::getpid());
    EXPECT_EQ(first.startRaw, LivenessProbe::processStartUTCString(::getpid()));
    scan(2);
    const pid_t heir = ::fork();
    if (heir == 0) {
        ::pause();
        ::_exit(0);
    }
    listener.socket.close();
    const auto second = *scan(3).verdict.primaryOccupant();
    EXPECT_EQ(second.pid, heir);
    ::kill(heir, SIGKILL);
    ::waitpid(heir, nullptr, 0);
    const auto last = scan(4);
    EXPECT_EQ(last.verdict.state, Liveness::stale);
    const std::string key = target.key().substr(5);
    const std::vector<StoredEvent> events = {
        {1, "occupied", fmt::format("port {}: held by {} [{}]", key, first.command, first.occupantRef()), "observed"},
        {3, "reoccupied",
         fmt::format("port {}: {} [{}] → {} [{}] · a new process, not who it was", key, first.command,
                     first.occupantRef(), second.command, second.occupantRef()),
         "observed"},
        {4, "vacated", fmt::format("port {}: nobody holds it any more", key), "observed"}};
    EXPECT_EQ(last.events, events);
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
        store.rawExecForTesting(
            fmt::format("CREATE TRIGGER no_{0} BEFORE INSERT ON {0} BEGIN SELECT RAISE(ABORT, "
                        "'no \"{0}\"'); END",
                        table));
    }
    const auto outcome = TargetScanner::scan(targets, &store, true, 2, probe);
    EXPECT_EQ(outcome.writeError, "history could not be written: step(\"no \\\"sessions\\\"\")");
    EXPECT_EQ(outcome.results.at(0).events, std::vector<StoredEvent>());
    EXPECT_EQ(outcome.results.at(1).events, (std::vector<StoredEvent>{{1, "old", std::nullopt, "observed"}}));
    EXPECT_EQ(outcome.results.at(1).verdict, probe(targets[1]));
}

}  // namespace brellin
