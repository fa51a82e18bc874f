#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/store/Chronicle.h"
#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/store/Statements.h"
#include "bench/Conversation.h"
#include "bench/Rows.h"
#include "bench/SessionFiles.h"
#include "bench/Spawn.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace brellin::bench {

namespace {

constexpr int declaredSessions = 20;

/// Sessions that came and went: of each two names, ten events and a hundred observations.
constexpr std::string_view pastAsSql = R"sql(
BEGIN;
CREATE TEMP TABLE past AS
    WITH RECURSIVE numbers(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM numbers WHERE n < {0})
    SELECT n, printf('past-%08d', n) AS id, 1700000000000 + n * 3000000 AS began FROM numbers;
CREATE TEMP TABLE times AS
    WITH RECURSIVE numbers(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM numbers WHERE n < 100)
    SELECT n FROM numbers;
INSERT INTO sessions SELECT id, '/home/user/.claude', '/home/user/work', began, began, began + 100 FROM past;
INSERT INTO names(sessionId, name, ref, source, validFrom, validTo)
    SELECT id, printf('old-%d-%d', past.n, times.n), '6d1d1d', 'derived', began, began + 100
    FROM past, times WHERE times.n <= 2;
INSERT INTO events(sessionId, at, kind, detail, certainty)
    SELECT id, began + times.n, CASE times.n WHEN 10 THEN 'undeclared' ELSE 'renamed' END,
        'a detail of some length, as most of them have', 'observed'
    FROM past, times WHERE times.n <= 10;
INSERT INTO observations(sessionId, observedAt, pid, liveness, livenessMethod, reportedStatus)
    SELECT id, began + times.n, 4242, 'alive', 'kill(pid,0) + procStart', 'idle' FROM past, times;
COMMIT;)sql";

/// A home with sessions of dead processes, a history that knows them and a past, and a server over it.
class World {
  public:
    explicit World(int pastSessions) {
        SessionFiles::writeDead(home_.path(), declaredSessions);
        {
            Store store(home_.path());
            store.rawExecForTesting(Statements::chronicleTables);
            store.rawExecForTesting(fmt::format(pastAsSql, pastSessions));
        }
        companion({"record"});
    }

    Seconds companion(std::vector<std::string> words) const {
        words.insert(words.begin(), HAVRICK_EXECUTABLE);
        return timed([&] { run(words, environment_); });
    }
    Seconds ask(std::string_view tool, std::string_view argumentName, std::string_view argument) {
        const std::string request = fmt::format(
            R"({{"jsonrpc":"2.0","id":1,"method":"tools/call","params":{{"name":"havrick_{}","arguments":{{"{}":"{}"}}}}}})"
            "\n",
            tool, argumentName, argument);
        return timed([&] { server_.ask(request); });
    }

  private:
    world::TemporaryDirectory home_;
    Environment environment_ = {{"HOME", home_.path()}, {"HAVRICK_ROOT", home_.path()}};
    Conversation server_{{HAVRICK_MCP_EXECUTABLE}, environment_};
};

/// What a day of rounds, one every 30 seconds, adds to the database, in kilobytes, while nothing happens.
long kilobytesADay() {
    constexpr std::int64_t interval = 30000;
    constexpr std::int64_t roundsADay = 24LL * 60 * 60 * 1000 / interval;
    constexpr std::int64_t days = 7;
    const world::TemporaryDirectory data;
    Chronicle::Round round;
    for (int number = 0; number < declaredSessions; ++number) {
        const std::string id = SessionFiles::sessionId(number);
        round.sessions.push_back(
            {{.sessionId = id, .accountPath = "/a", .name = id.substr(0, 8), .reportedStatus = "idle"},
             {Liveness::alive, "kill(pid,0) + procStart", std::nullopt}});
    }
    Store store(data.path());
    Chronicle chronicle(store);
    const auto liveFor = [&](std::int64_t count) {
        for (std::int64_t number = 0; number < count; ++number) {
            round.now += interval;
            chronicle.record(round);
        }
        return store.database().number(Statements::pageCount).value_or(0) *
               store.database().number(Statements::pageSize).value_or(0);
    };
    const std::int64_t first = liveFor(roundsADay);
    return static_cast<long>((liveFor(days * roundsADay) - first) / days / 1000);
}

}  // namespace

void addHistoryRows(Table& table, const Patience& patience) {
    constexpr std::string_view fresh = "the same on a history without a past";
    constexpr double aim = 1.2;
    World old(patience.pastSessions);
    World young(0);
    const auto add = [&](std::string_view what, auto work) {
        table.add(fmt::format("{}, after {} past sessions", what, patience.pastSessions), fresh,
                  compare(
                      patience, [&] { return work(old); }, [&] { return work(young); }),
                  aim);
    };
    const std::string id = SessionFiles::sessionId(0);
    add("`havrick record`", [](World& world) { return world.companion({"record"}); });
    add("`havrick_who`", [&](World& world) { return world.ask("who", "sessionId", id); });
    add("`havrick_resolve`, no match", [](World& world) { return world.ask("resolve", "query", "none"); });
    add("`havrick history <name>`", [](World& world) {
        return world.companion({"history", "checkout-0"});
    });
    table.addSize(fmt::format("a day of {} idle sessions, on the disk", declaredSessions), kilobytesADay(),
                  100);
}

}  // namespace brellin::bench
