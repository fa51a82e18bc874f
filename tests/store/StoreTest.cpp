#include "BrellinCore/platform/Sha256.h"
#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/store/Pruning.h"
#include "BrellinCore/store/Reconciler.h"
#include "tests/world/Household.h"

#include <fmt/ranges.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <functional>
#include <thread>

namespace brellin {

namespace {

using Changes = std::vector<std::string>;
using world::sql;
using world::TemporaryDirectory;

/// What an operation threw, in words; empty when it threw nothing.
std::string failureOf(const std::function<void()>& operation) {
    try {
        operation();
        return {};
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

SessionRecord session(const std::string& id, std::optional<std::string> name = std::nullopt,
                      std::optional<std::string> socket = std::nullopt) {
    return {
        .sessionId = id, .accountPath = "/a", .startedAt = 5, .socketPath = std::move(socket), .name = std::move(name)};
}

}  // namespace

TEST(Store, CreatesItsSchemaOnceAndKeepsIt) {
    const TemporaryDirectory home;
    const std::string root = home / "some/data";
    { const Store store(root); }
    // Other programs open the history, too. Whoever changes its schema on purpose puts the new digest here.
    const std::string schema = sql(root, "SELECT sql FROM sqlite_master");
    EXPECT_EQ(fmt::format("{:02x}", fmt::join(sha256(schema), "")),
              "c1a586138f41eb6cb544c302d3fcedd9f7d7a8b32b7233f855e0169cab628557")
        << schema;
    { Store(root).upsertSession(session("s"), 1); }
    { const Store store(root); }
    EXPECT_EQ(sql(root, "SELECT sql FROM sqlite_master"), schema);
    EXPECT_EQ(sql(root, "SELECT count(*) FROM sessions; PRAGMA journal_mode;"), "1\nwal");
}

TEST(Store, RefreshesAccountsSessionsAndEntities) {
    const TemporaryDirectory root;
    Store store(root.path());
    store.recordAccount({.path = "/a", .label = "one", .isDefault = true, .identityEmail = "e@x"}, 10);
    store.recordAccount({.path = "/a", .label = "two"}, 20);
    EXPECT_EQ(sql(root.path(), "SELECT * FROM accounts"), "/a|two|e@x|0|10|20");

    SessionRecord record = session("s");
    record.cwd = "/w";
    store.upsertSession(record, 10);
    record.cwd = std::nullopt;
    record.accountPath = "/b";
    record.startedAt = 99;
    store.upsertSession(record, 20);
    store.ensureEntity("s", "watch:other", 30);
    for (const char* key : {"port:2", "port:1"}) {
        store.ensureEntity(key, "watch:port", 30);
    }
    EXPECT_EQ(sql(root.path(), "SELECT * FROM sessions ORDER BY sessionId"),
              "port:1|watch:port|-|-|30|30\nport:2|watch:port|-|-|30|30\ns|/b|/w|5|10|30");
    EXPECT_EQ(store.knownSessionIds(), (std::set<std::string>{"s", "port:1", "port:2"}));
}

TEST(Store, KeepsNameWindows) {
    const TemporaryDirectory root;
    Store store(root.path());
    store.upsertSession(session("s"), 1);
    store.closeName("s", 5);
    EXPECT_EQ(store.currentName("s"), std::nullopt);
    store.openName("s", "late", "ref", "derived", 20);
    store.openName("s", "early \"'; --", std::nullopt, std::nullopt, 10);
    EXPECT_EQ(store.currentName("s"), (CurrentName{"late", "ref"}));
    store.closeName("s", 30);
    store.openName("s", "now", std::nullopt, "é", 30);
    const std::vector<NameWindow> windows = {
        {"early \"'; --", std::nullopt, 10, 30}, {"late", "ref", 20, 30}, {"now", std::nullopt, 30, std::nullopt}};
    EXPECT_EQ(store.nameHistory("s"), windows);
    EXPECT_EQ(sql(root.path(), "SELECT source FROM names ORDER BY id"), "derived\n-\né");
}

TEST(Store, EventsAndObservationsAreAddedAndNothingElse) {
    const TemporaryDirectory root;
    Store store(root.path());
    store.upsertSession(session("s"), 1);
    store.appendEvent("s", "second", std::nullopt, "inferred", 20);
    store.appendEvent("s", "first", std::string("cut\0off", 7), "observed", -10);
    const std::vector<StoredEvent> events = {{-10, "first", "cut", "observed"},
                                             {20, "second", std::nullopt, "inferred"}};
    EXPECT_EQ(store.events("s"), events);
    EXPECT_TRUE(store.hasEvent("s", "first"));
    EXPECT_FALSE(store.hasEvent("t", "first"));
    store.appendObservation("s", -7, {Liveness::unknown, "method", "not kept"}, "idle", 30);
    EXPECT_EQ(sql(root.path(), "SELECT * FROM observations"), "1|s|30|-7|unknown|method|idle");

    EXPECT_EQ(failureOf([&] { store.appendEvent("t", "k", "d", "observed", 1); }),
              "step(\"FOREIGN KEY constraint failed\")");
    EXPECT_EQ(failureOf([&] { store.rawExecForTesting("UPDATE events SET kind='x'"); }),
              "step(\"events e append-only: adaugă o înregistrare nouă, nu rescrie\")");
    EXPECT_EQ(failureOf([&] { store.rawExecForTesting("DELETE FROM events"); }),
              "step(\"events e append-only: nu se șterge\")");
    EXPECT_EQ(store.events("s"), events) << "a failed write leaves the store usable";
}

TEST(Store, TellsWritesWhatIsWrongAndReadsNothing) {
    const TemporaryDirectory home;
    const std::string garbage(5000, 'x');
    home.write("garbage/havrick.db", garbage);
    home.makeDirectory("taken/havrick.db");
    const auto opening = [&](const char* name) { return failureOf([&] { const Store store(home / name); }); };
    EXPECT_TRUE(opening("garbage/havrick.db/below").starts_with("filesystem error"));
    EXPECT_EQ(opening("taken"), "open(\"unable to open database file\")");
    Store damaged(home / "garbage");
    EXPECT_EQ(failureOf([&] { damaged.upsertSession(session("s"), 1); }), "prepare(\"file is not a database\")");
    EXPECT_TRUE(damaged.knownSessionIds().empty());
    EXPECT_EQ(home.read("garbage/havrick.db"), garbage);

    Store store(home / "data");
    store.rawExecForTesting("DROP TABLE names; DROP TABLE observations; DROP TABLE events; DROP TABLE sessions");
    EXPECT_EQ(failureOf([&] { store.closeName("s", 1); }), "prepare(\"no such table: names\")");
    EXPECT_TRUE(store.nameHistory("s").empty());
    EXPECT_STREQ(store.takeReadFailure().value().what(), "prepare(\"no such table: names\")") << "for who asks";
    EXPECT_FALSE(store.takeReadFailure());
    EXPECT_STREQ(StoreError(StoreError::Case::open, "a\"b\\c\n\r\t\x01\x7Fé").what(),
                 "open(\"a\\\"b\\\\c\\n\\r\\t\\u{1}\\u{7F}é\")");
}

TEST(Pruning, RemovesOldObservationsAlone) {
    const TemporaryDirectory root;
    Store store(root.path());
    store.upsertSession({.sessionId = "s", .accountPath = "/a"}, 1);
    store.openName("s", "n", std::nullopt, std::nullopt, 1);
    store.appendEvent("s", "seen", std::nullopt, "observed", 1);
    store.rawExecForTesting(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 45000) INSERT INTO "
        "observations(sessionId, observedAt, liveness) SELECT 's', i % 21, 'alive' FROM n");
    const auto removed = Pruning::removeObservations(store.database(), 20);
    EXPECT_EQ(removed.observations, 42858);
    EXPECT_GT(removed.freedBytes, removed.observations * 10);
    EXPECT_EQ(Pruning::removeObservations(store.database(), 20).observations, 0);
    EXPECT_EQ(sql(root.path(), "SELECT count(*), min(observedAt) FROM observations"), "2142|20");
    EXPECT_GE(Pruning::vacuum(store.database()), removed.freedBytes);
    EXPECT_EQ(sql(root.path(), "SELECT name FROM names; SELECT kind FROM events"), "n\nseen");
}

TEST(Database, LetsAWriteWaitForOthersAsLongAsItIsTold) {
    const TemporaryDirectory directory;
    Database other(directory / "db");
    other.execute("CREATE TABLE t(c); BEGIN IMMEDIATE");
    const auto write = [&](const Database::BusyHandler& waits) {
        Database database(directory / "db", Database::Access::create, waits);
        return failureOf([&] { database.write("INSERT INTO t VALUES(1)"); });
    };
    int calls = 0;
    EXPECT_EQ(write({}), "step(\"database is locked\")");
    EXPECT_EQ(write([&](int before) { return before == calls++ && calls < 3; }), "step(\"database is locked\")");
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(write([&](int before) { return before < 2 || (other.execute("COMMIT"), true); }), "");
}

TEST(Database, TriesAReadAgainForAMoment) {
    const TemporaryDirectory directory;
    Database other(directory / "db");
    other.execute("CREATE TABLE t(c)");
    const Database database(directory / "db");
    const auto read = [&] { return failureOf([&] { database.rows("SELECT * FROM t"); }); };
    bool hasWaited = false;
    for (int attempt = 0; !hasWaited && attempt < 20; ++attempt) {  // a busy machine may be late
        other.execute("BEGIN EXCLUSIVE");
        std::thread releasing([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            other.execute("COMMIT");
        });
        hasWaited = read().empty();
        releasing.join();
    }
    EXPECT_TRUE(hasWaited);
    other.execute("BEGIN EXCLUSIVE");
    EXPECT_EQ(read(), "step(\"database is locked\")");
}

TEST(Reconciler, WritesOneSnapshotAfterTheOther) {
    const TemporaryDirectory root;
    Store store(root.path());
    Reconciler reconciler(store);
    EXPECT_EQ(reconciler.reconcile({}, {}, 1), Changes());

    SessionRecord derived = session("0123456789", "old", "/s");
    derived.nameSource = "derived";
    derived.reportedStatus = "idle";
    derived.pid = ::getpid();
    SessionRecord undecided = derived;
    derived.procStartRaw = LivenessProbe::processStartUTCString(derived.pid);
    EXPECT_EQ(
        reconciler.reconcile({derived, session("é-short"), session("é-short")}, {{.path = "/a", .label = "main"}}, 10),
        (Changes{"seen:01234567", "seen:é-short", "seen:é-short"}))
        << "what was known when the call began decides";
    EXPECT_EQ(reconciler.reconcile({undecided, session("é-short")}, {}, 20), Changes());
    EXPECT_EQ(sql(root.path(), "SELECT pid > 0, liveness, livenessMethod, reportedStatus FROM observations"),
              "1|alive|kill(pid,0) + procStart|idle\n0|stale|kill(pid,0)|-\n0|stale|kill(pid,0)|-\n"
              "1|unknown|kill(pid,0)|idle\n0|stale|kill(pid,0)|-");
    EXPECT_EQ(reconciler.reconcile({session("0123456789", "new", "/s"), session("é-short", "n")}, {}, 30),
              (Changes{"renamed:new"}));
    EXPECT_EQ(reconciler.reconcile({session("0123456789", "newer", "/k9h"), session("é-short", "m")}, {}, 40),
              (Changes{"reincarnated:newer", "renamed:m"}));
    EXPECT_EQ(reconciler.reconcile({session("0123456789", "newest"), session("é-short")}, {}, 50),
              (Changes{"reincarnated:newest"}));
    EXPECT_EQ(reconciler.reconcile({}, {}, 60), (Changes{"undeclared:01234567", "undeclared:é-short"}));
    EXPECT_EQ(reconciler.reconcile({session("é-short")}, {}, 70), Changes());
    EXPECT_EQ(reconciler.reconcile({}, {}, 80), Changes()) << "a session is undeclared once";

    // printf 'session:/s' | sha256sum gives the digits, and so for /k9h.
    EXPECT_EQ(sql(root.path(), "SELECT at, kind, detail, certainty FROM events WHERE at > 10 OR id = 1 ORDER BY id"),
              "10|seen|first observation · account /a|observed\n"
              "30|renamed|old → new · ref unchanged (59c7ba) · source: explicit|observed\n"
              "40|reincarnated|new [59c7ba] → newer [0f0705] · a new process; the old address no longer delivers|"
              "inferred\n"
              "40|renamed|n → m · ref unchanged (?) · source: explicit|observed\n"
              "50|reincarnated|newer [0f0705] → newest [?] · a new process; the old address no longer delivers|"
              "inferred\n"
              "60|undeclared|no longer has a registry entry in any enumerated account|observed\n"
              "60|undeclared|no longer has a registry entry in any enumerated account|observed");
    EXPECT_EQ(sql(root.path(), "SELECT name, ref, source, validFrom, validTo FROM names ORDER BY id"),
              "old|59c7ba|derived|10|30\nnew|59c7ba|-|30|40\nn|-|-|30|40\nnewer|0f0705|-|40|50\nm|-|-|40|-\n"
              "newest|-|-|50|-");
    EXPECT_EQ(sql(root.path(), "SELECT * FROM accounts"), "/a|main|-|0|10|10");
}

TEST(Reconciler, EndsAtTheFirstFailureAndKeepsWhatWasWritten) {
    const TemporaryDirectory root;
    Store store(root.path());
    store.ensureEntity("port:8080", "watch:port 8080", 1);
    Reconciler(store).reconcile({session("a", "one"), session("b")}, {}, 1);
    store.rawExecForTesting("CREATE TRIGGER refuse BEFORE INSERT ON events BEGIN SELECT RAISE(ABORT, 'refused'); END");
    EXPECT_THROW(Reconciler(store).reconcile({session("a", "two"), session("c")}, {}, 2), StoreError);
    EXPECT_EQ(sql(root.path(), "SELECT name, validTo FROM names"), "one|2") << "closed, without a successor";
    EXPECT_FALSE(store.knownSessionIds().contains("c"));
    EXPECT_TRUE(store.hasEvent("port:8080", "undeclared")) << "a watched target counts as a vanished session";
}

}  // namespace brellin
