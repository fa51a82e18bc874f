#include "BrellinCore/store/Observation.h"
#include "BrellinCore/text/Split.h"
#include "BrellinCore/watch/TargetChronicle.h"
#include "BrellinCore/watch/TargetProbe.h"
#include "BrellinCore/watch/TargetScanner.h"
#include "BrellinCore/watch/WatchList.h"
#include "tests/world/FailingCall.h"
#include "tests/world/Household.h"

#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace brellin {

namespace {

using world::TemporaryDirectory;
using Snapshots = std::vector<ProcessSnapshot>;

}  // namespace

TEST(WatchTarget, ParsesSpecsIntoTheirNormalForm) {
    const std::tuple<std::string_view, std::string, std::string> accepted[] = {
        {"pid:4242", "pid:4242", "PID 4242"},
        {"pid:+007", "pid:7", "PID 7"},
        {"pid:-2147483648", "pid:-2147483648", "PID -2147483648"},
        {":::pid:0", "pid:0", "PID 0"},
        {"cmd:a:b", "cmd:a:b", "command ~ “a:b”"},
        {"cmd::", "cmd::", "command ~ “:”"},
        {"cmd: ", "cmd: ", "command ~ “ ”"},
        {"port:08080", "port:8080", "port 8080"},
        {"port:+65535", "port:65535", "port 65535"},
        {"port:-0", "port:0", "port 0"}};
    for (const auto& [spec, key, description] : accepted) {
        const auto target = WatchTarget::fromSpec(spec);
        ASSERT_TRUE(target) << spec;
        EXPECT_EQ(target->key(), key);
        EXPECT_EQ(target->describe(), description);
        EXPECT_EQ(WatchTarget::fromSpec(key), target) << "a key is a spec";
        EXPECT_EQ(std::hash<WatchTarget>()(*WatchTarget::fromSpec(key)), std::hash<WatchTarget>()(*target));
    }
    EXPECT_EQ(WatchTarget::fromSpec(""), std::nullopt);
    for (const std::string_view spec : splitDroppingEmpty(
             ":|::|pid|pid:|:pid:|pid: 7|pid:7 |PID:7| pid:7|pid:2147483648|pid:-2147483649|pid:1.0|pid:+|pid:-|"
             "pid:+-1|pid:--1|pid:0x1|pid:١|pid::7|port:65536|port:-1|port:http|cmd:|7|file:/x",
             "|")) {
        EXPECT_EQ(WatchTarget::fromSpec(spec), std::nullopt) << spec;
    }
}

TEST(WatchTarget, ABaselineTellsTargetsApartButNotTheirKeys) {
    const auto bare = WatchTarget::pid(5);
    const auto declared = WatchTarget::pid(5, "");
    EXPECT_NE(bare, declared);
    EXPECT_NE(std::hash<WatchTarget>()(bare), std::hash<WatchTarget>()(declared));
    WatchList list{{WatchTarget::port(5), bare}};
    EXPECT_FALSE(list.add(declared));
    EXPECT_EQ(list.targets.size(), 2U);
}

TEST(WatchList, LoadsWhatItCanAndCountsTheRest) {
    const auto x = WatchTarget::command("x");
    const std::tuple<std::string_view, bool, std::vector<WatchTarget>, std::size_t> cases[] = {
        {"{}", false, {}, 0},
        {"", false, {}, 0},
        {R"(["pid:1", 5])", false, {}, 0},
        {R"(["pid:1","bogus","port:70000","cmd:x"])", true, {WatchTarget::pid(1), x}, 2},
        {R"([ "cmd:x", "cmd:x" ])", true, {x, x}, 0}};
    for (const auto& [text, isReadable, targets, skipped] : cases) {
        const auto loaded = WatchList::fromDocument(text);
        EXPECT_EQ(loaded.isReadable, isReadable) << text;
        EXPECT_EQ(loaded.list.targets, targets) << text;
        EXPECT_EQ(loaded.skipped, skipped) << text;
    }
    WatchList twice{{x, x}};
    EXPECT_FALSE(twice.remove("x"));
    EXPECT_TRUE(twice.remove("cmd:x"));
    EXPECT_FALSE(twice.remove("cmd:x"));
}

TEST(WatchList, SavesAtomicallyAndComesBack) {
    const TemporaryDirectory home;
    const std::string directory = home / "new/data";
    EXPECT_TRUE(WatchList::load(directory).isReadable) << "none is an empty one";
    const WatchList list{{WatchTarget::command("a/b \"é\\"), WatchTarget::port(80), WatchTarget::pid(7)}};
    const mode_t before = ::umask(027);
    list.save(directory);
    ::umask(before);
    EXPECT_EQ(std::filesystem::status(directory + "/watchlist.json").permissions(), std::filesystem::perms{0640});
    EXPECT_EQ(home.read("new/data/watchlist.json"), R"(["cmd:a\/b \"é\\","port:80","pid:7"])");
    EXPECT_EQ(WatchList::load(directory).list, list);
    const WatchList other{{WatchTarget::pid(7, "baseline")}};
    EXPECT_THROW(other.save(home.write("file", "")), std::system_error);
#ifdef __linux__
    for (const char* function : {"write", "fsync"}) {
        world::failNext(function, EIO);
        EXPECT_THROW(other.save(directory), std::system_error) << function;
        EXPECT_EQ(WatchList::load(directory).list, list) << "the old list stays, and nothing beside it";
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 1);
    }
#endif
    other.save(directory);
    EXPECT_EQ(WatchList::load(directory).list, (WatchList{{WatchTarget::pid(7)}})) << "a baseline is not kept";
    home.makeDirectory("taken/watchlist.json");
    EXPECT_FALSE(WatchList::load(home / "taken").isReadable);
}

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
        std::string told = fmt::format("{} {}", rawValue(verdict.state), verdict.method);
        for (const ProcessSnapshot& occupant : verdict.occupants) {
            told += fmt::format(" [{} {}]", occupant.occupantRef(), occupant.command);
        }
        EXPECT_EQ(verdict.target, target);
        EXPECT_EQ(told + (verdict.diagnostic ? " · " + *verdict.diagnostic : ""), expected);
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

TEST(TargetProbe, RunsItsProgramsAsTheCallerWants) {
    std::string ran;
    const auto system = TargetProbe::Enumerators::system([&](const char*, const std::vector<std::string>& arguments) {
        ran += fmt::format("{}\n", fmt::join(arguments, " "));
        return std::optional(ChildProcess::Result{1, "p7\ncx\n"});
    });
    EXPECT_EQ(system.processes(), Snapshots());
    EXPECT_EQ(system.listenersOnPort(80), (Snapshots{{7, "x", {}}}));
    EXPECT_EQ(system.start(8), std::nullopt);
    EXPECT_EQ(ran, "-axo pid=,lstart=,command=\n-nP -iTCP:80 -sTCP:LISTEN -Fpc\n-o lstart= -p 7\n-o lstart= -p 8\n");
}

TEST(TargetHistory, FollowsATargetThroughItsLife) {
    const TemporaryDirectory root;
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
    EXPECT_EQ(world::sql(root.path(), "SELECT at, kind, detail, certainty FROM events"),
              "3|occupied|command ~ “x”: held by x y [5@?]|observed\n"
              "6|reoccupied|command ~ “x”: x y [5@?] → x y [5@s] · a new process, not who it was|observed\n"
              "7|vacated|command ~ “x”: nobody holds it any more|observed\n"
              "9|occupied|command ~ “x”: held by x y [5@s]|observed");
    EXPECT_EQ(world::sql(root.path(), "SELECT name, ref, source, validFrom, validTo FROM names"),
              "x y|5@?|measured|3|6\nx y|5@s|measured|6|7\nx y|5@s|measured|9|-");
    EXPECT_EQ(world::sql(root.path(), "SELECT group_concat(pid), min(reportedStatus) FROM observations"),
              "0,7,5,5,7,5,0,0,5|-");
    EXPECT_EQ(world::sql(root.path(), "SELECT * FROM sessions"), "cmd:x|watch:command ~ “x”|-|-|1|9");
}

TEST(TargetScanner, GivesEveryVerdictWhenNothingCanBeWritten) {
    const TemporaryDirectory root;
    Store store(root.path());
    const std::vector<WatchTarget> targets = {WatchTarget::pid(1), WatchTarget::port(1)};
    const auto probe = [](const WatchTarget& target) { return TargetVerdict{target, Liveness::stale, "m", "d", {}}; };
    for (Store* place : {static_cast<Store*>(nullptr), &store}) {
        const auto outcome = TargetScanner::scan(targets, place, place == nullptr, 1, probe);
        EXPECT_EQ(outcome, (TargetScanner::Outcome{{{probe(targets[0]), {}}, {probe(targets[1]), {}}}, {}}));
    }
    TargetScanner::scan({targets[1]}, &store, true, 1, probe);
    store.appendEvent("port:1", "old", std::nullopt, "observed", 1);
    store.rawExecForTesting(
        "CREATE TRIGGER refuse BEFORE INSERT ON sessions BEGIN SELECT RAISE(ABORT, 'no') WHERE NEW.sessionId = 'pid:1'; "
        "SELECT RAISE(ABORT, 'nor this'); END");
    const std::vector<StoredEvent> old = {{1, "old", std::nullopt, "observed"}};
    EXPECT_EQ(TargetScanner::scan(targets, &store, true, 2, probe),
              (TargetScanner::Outcome{{{probe(targets[0]), std::vector<StoredEvent>()}, {probe(targets[1]), old}},
                                      "history could not be written: step(\"no\")"}));
}

TEST(TargetChronicle, WritesAScanWholeOrNotAtAllAndNothingTwiceAnHour) {
    const TemporaryDirectory root;
    Store store(root.path());
    constexpr std::int64_t hour = LastObservation::repetitionMilliseconds;
    const std::string rows = "SELECT * FROM names; SELECT * FROM events; SELECT * FROM observations";
    const auto scan = [&](std::int64_t now, std::int32_t holder) {
        const ProcessSnapshot process{holder, "c", "start"};
        std::vector<TargetScanResult> results = {{{WatchTarget::port(1), Liveness::stale, "m", "d", {}}, {}},
                                                 {{WatchTarget::port(2), Liveness::alive, "m", {}, {process}}, {}}};
        TargetChronicle::record(results, store, now);
        return results[1].events.value().size();
    };
    EXPECT_EQ(scan(hour, 7), 1U);
    EXPECT_EQ(scan(2 * hour - 1, 7), 1U);
    EXPECT_EQ(scan(2 * hour, 7), 1U);
    EXPECT_EQ(world::sql(root.path(), "SELECT group_concat(pid) FROM observations"), "0,7,0,7");
    const std::string before = world::sql(root.path(), rows);
    // Events can be written and not be read.
    store.rawExecForTesting(
        "ALTER TABLE events RENAME TO kept; CREATE VIEW events AS SELECT * FROM kept WHERE abs(~0x7fffffffffffffff); "
        "CREATE TRIGGER through INSTEAD OF INSERT ON events BEGIN SELECT 1; END");
    EXPECT_THROW(scan(2 * hour + 1, 8), StoreError);
    store.rawExecForTesting("DROP VIEW events; ALTER TABLE kept RENAME TO events");
    EXPECT_EQ(world::sql(root.path(), rows), before);
    EXPECT_EQ(scan(2 * hour + 2, 8), 2U) << "the next scan begins clean";
}

}  // namespace brellin
