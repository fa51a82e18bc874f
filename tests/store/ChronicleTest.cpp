#include "BrellinCore/store/Chronicle.h"
#include "BrellinCore/store/Observation.h"
#include "tests/world/Household.h"

#include <exception>
#include <functional>

namespace brellin {

namespace {

using Session = Chronicle::Session;
using world::sql;
using world::TemporaryDirectory;
using enum Liveness;

// The short addresses are 59c7ba for /s and 0f0705 for /k9h.
Session session(const std::string& id, Liveness state, std::optional<std::string> name = "n",
                std::optional<std::string> socket = "/s") {
    SessionRecord record = {.sessionId = id, .pid = 7, .accountPath = "/a", .startedAt = 5};
    record.name = std::move(name);
    record.socketPath = std::move(socket);
    return {record, {state, "method", state == alive ? std::nullopt : std::optional<std::string>("why")}};
}

Chronicle::Round round(std::int64_t now, std::vector<Session> sessions) {
    return {.sessions = std::move(sessions), .accounts = {{.path = "/a", .label = "main"}}, .now = now};
}

/// A chronicle, and what the history holds after its rounds.
class Chronicles : public testing::Test {
  protected:
    /// What happened in a round, as "kind id", or what it threw.
    std::string record(const Chronicle::Round& found) {
        try {
            std::string told;
            for (const Change& change : Chronicle(store_).record(found)) {
                told += (told.empty() ? "" : ", ") + change.event.kind + " " + change.sessionId;
            }
            return told;
        } catch (const std::exception& failure) {
            return failure.what();
        }
    }
    std::string record(std::int64_t now, std::vector<Session> sessions) {
        return record(round(now, std::move(sessions)));
    }
    std::string query(const std::string& statement) const { return sql(root_.path(), statement); }
    std::string windows() const { return query("SELECT name, ref, validFrom, validTo FROM names ORDER BY id"); }

    const TemporaryDirectory root_;
    Store store_{root_.path()};
};

}  // namespace

TEST_F(Chronicles, TellEachTurnOfALifeOnce) {
    // What is declared in one second after the other, and what happened.
    const std::pair<std::vector<Session>, std::string> life[] = {
        {{session("s", alive, "a", std::nullopt)}, "seen s"},
        {{session("s", alive, "a")}, ""},  // its first short address, not another one
        {{session("s", stale, "a")}, "died s"},
        {{session("s", unknown, "a")}, ""},
        {{session("s", stale, "a")}, ""},
        {{session("s", alive, "a")}, "revived s"},
        {{session("s", unknown, "a")}, ""},
        {{session("s", stale, "a")}, "died s"},
        {{}, "undeclared s"},
        {{}, ""},
        {{session("s", stale, "a")}, "returned s"},
        {{}, "left s"},
        {{session("s", alive, "b")}, "returned s, revived s"},
        {{session("s", alive, "b", "/k9h")}, "restarted s"},
        {{session("s", alive, "c", "/k9h")}, "renamed s"},
        {{session("s", alive, std::nullopt, "/s")}, ""},
        {{session("s", alive, "c", std::nullopt)}, ""},
        {{session("t", stale), session("s", alive, "c", "/k9h")}, "seen t, died t"},
        {{session("t", stale)}, "left s"}};
    std::int64_t now = 0;
    for (const auto& [sessions, told] : life) {
        EXPECT_EQ(record(now += 1000, sessions), told) << now;
    }
    EXPECT_EQ(windows(),
              "a|59c7ba|1000|9000\na|59c7ba|11000|12000\nb|59c7ba|13000|14000\nb|0f0705|14000|15000\n"
              "c|0f0705|15000|19000\nn|59c7ba|18000|-");
    EXPECT_EQ(
        query("SELECT at, kind, detail, certainty FROM events WHERE kind NOT IN ('seen', 'undeclared', 'renamed')"),
        "3000|died|why · still alive at 1970-01-01 00:00:02 +0000|observed\n"
        "6000|revived|runs again with PID 7|observed\n"
        "8000|died|why|observed\n"
        "11000|returned|declared again · account /a|observed\n"
        "12000|left|no longer has a registry entry|observed\n"
        "13000|returned|declared again · account /a · was a [59c7ba]|observed\n"
        "13000|revived|runs again with PID 7|observed\n"
        "14000|restarted|b [59c7ba] → b [0f0705] · a new process; the old address no longer delivers|inferred\n"
        "18000|died|why|observed\n"
        "19000|left|no longer has a registry entry|observed");
    EXPECT_EQ(Chronicle(store_).declaredSessions().count("t"), 1U);
    EXPECT_EQ(Chronicle(store_).declaredSessions().size(), 1U);
}

TEST_F(Chronicles, LeaveAloneWhatARoundCouldNotSee) {
    record(1000, {session("s", alive)});
    store_.ensureEntity("port:1", "watch:port 1", 1000);
    store_.openName("port:1", "holder", "7@", std::nullopt, 1000);
    Chronicle::Round isUnread = round(2000, {});
    isUnread.unreadAccounts = {"/a"};
    Chronicle::Round hasNoHome = round(2000, {});
    hasNoHome.accounts.clear();
    hasNoHome.isHomeUnread = true;
    for (const Chronicle::Round& found : {isUnread, hasNoHome}) {
        EXPECT_EQ(record(found), "");
        EXPECT_EQ(windows(), "n|59c7ba|1000|-\nholder|7@|1000|-");
    }
    Chronicle::Round isElsewhere = round(2000, {});
    isElsewhere.isHomeUnread = true;
    isElsewhere.unreadAccounts = {"/b"};
    EXPECT_EQ(record(isElsewhere), "undeclared s");
    EXPECT_EQ(windows(), "n|59c7ba|1000|2000\nholder|7@|1000|-") << "a watched target is no session";
}

TEST_F(Chronicles, AdoptAHistoryThatHasNoTableOfTheirs) {
    for (const char* id : {"gone", "there", "back"}) {
        store_.upsertSession(session(id, alive).record, 500);
        store_.openName(id, id, "59c7ba", std::nullopt, 100);
        if (std::string_view(id) != "there") {
            store_.appendEvent(id, "undeclared", "", "observed", 800);
        }
    }
    store_.ensureEntity("port:1", "watch:port 1", 500);
    store_.openName("port:1", "holder", "7@", std::nullopt, 100);
    EXPECT_TRUE(Chronicle(store_).declaredSessions().empty());
    EXPECT_EQ(record(1000, {session("back", alive, "back")}), "returned back, undeclared there");
    EXPECT_EQ(windows(),
              "gone|59c7ba|100|500\nthere|59c7ba|100|1000\nback|59c7ba|100|500\nholder|7@|100|-\nback|59c7ba|1000|-");
    EXPECT_EQ(record(2000, {}), "left back");
}

TEST_F(Chronicles, WriteARoundWholeOrNotAtAll) {
    Database other(root_.path() + "/havrick.db");
    record(1000, {session("s", alive, "a"), session("t", alive)});
    const std::string rows =
        "SELECT * FROM accounts; SELECT * FROM sessions; SELECT * FROM names; SELECT * FROM events; "
        "SELECT * FROM observations; SELECT * FROM declared";
    const std::vector<Session> found = {session("s", alive, "b")};
    // What breaks the history, what mends it, and the error.
    const std::tuple<const char*, const char*, std::string> faults[] = {
        {"CREATE TRIGGER refuse BEFORE INSERT ON events WHEN NEW.kind = 'undeclared' BEGIN SELECT RAISE(ABORT, 'no'); END",
         "DROP TRIGGER refuse", "step(\"no\")"},
        {"ALTER TABLE observations RENAME TO hidden", "ALTER TABLE hidden RENAME TO observations",
         "prepare(\"no such table: observations\")"},
        {"BEGIN IMMEDIATE", "COMMIT", "step(\"database is locked\")"},
        // The store cannot look whether t has been undeclared, which would read as no.
        {"ALTER TABLE events RENAME TO kept; CREATE VIEW events AS SELECT id, sessionId, at, iif(id = 2, "
         "abs(~0x7fffffffffffffff), kind) AS kind, detail, certainty FROM kept; CREATE TRIGGER through INSTEAD OF INSERT ON "
         "events BEGIN INSERT INTO kept(sessionId, at, kind) VALUES(NEW.sessionId, NEW.at, NEW.kind); END",
         "DROP VIEW events; ALTER TABLE kept RENAME TO events", "step(\"integer overflow\")"}};
    for (const auto& [fault, repair, error] : faults) {
        const std::string before = query(rows);
        other.execute(fault);
        EXPECT_EQ(record(2000, found), error);
        other.execute(repair);
        EXPECT_EQ(query(rows), before) << fault;
    }
    EXPECT_EQ(record(3000, found), "renamed s, undeclared t") << "the next round begins clean";
}

TEST_F(Chronicles, KeepAnObservationThatSaysNothingNewOnceAnHour) {
    constexpr std::int64_t hour = LastObservation::repetitionMilliseconds;
    std::string counts;
    const auto look = [&](std::int64_t now, const Session& found) {
        record(now, {found});
        counts += query("SELECT count(*) FROM observations") + " ";
    };
    Session found = session("s", alive);
    for (const std::int64_t now :
         {10 * hour, 11 * hour - 1, 11 * hour, 5 * hour, 6 * hour - 1, 6 * hour, 11 * hour + 1}) {
        look(now, found);
    }
    EXPECT_EQ(counts, "1 1 2 3 3 4 4 ") << "the clock was set back in between";
    counts.clear();
    const std::function<void()> changes[] = {
        [&] { found.record.pid = 8; }, [&] { found.record.reportedStatus = "idle"; },
        [&] { found.verdict.method = "m"; }, [&] { found.verdict.state = unknown; }};
    for (const auto& change : changes) {
        change();
        look(11 * hour + 2, found);
        look(11 * hour + 3, found);
    }
    EXPECT_EQ(counts, "5 5 6 6 7 7 8 8 ");
}

}  // namespace brellin
