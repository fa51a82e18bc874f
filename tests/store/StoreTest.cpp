#include "BrellinCore/store/Store.h"
#include "tests/world/Household.h"

#include <sqlite3.h>

#include <filesystem>
#include <functional>

namespace brellin {

namespace {

using world::sql;
using world::TemporaryDirectory;

/// What an operation threw, in words; empty when it threw nothing.
std::string failureOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const StoreError& error) {
        return error.what();
    } catch (const std::filesystem::filesystem_error&) {
        return "filesystem error";
    }
    return {};
}

SessionRecord session(const std::string& id) {
    return {.sessionId = id, .pid = 7, .accountPath = "/a", .startedAt = 5};
}

}  // namespace

TEST(Store, CreatesItsSchemaOnceAndKeepsIt) {
    const TemporaryDirectory home;
    const std::string root = home / "some/data";
    { const Store store(root); }
    const std::string schema = sql(root, "SELECT sql FROM sqlite_master");
    { Store(root).upsertSession(session("s"), 1); }
    { const Store store(root); }
    EXPECT_EQ(sql(root, "SELECT sql FROM sqlite_master"), schema);
    EXPECT_EQ(sql(root, "SELECT count(*) FROM sessions; PRAGMA journal_mode;"), "1\nwal");
    EXPECT_EQ(sql(root,
                  "SELECT group_concat(name, ' ') FROM (SELECT name FROM sqlite_master WHERE sql NOT NULL AND "
                  "name NOT LIKE 'sqlite_%' ORDER BY rowid)"),
              "accounts sessions names observations events idx_events_session idx_obs_session idx_names_session "
              "events_are_append_only events_are_not_deletable");
    EXPECT_EQ(sql(root, "SELECT name,type,\"notnull\",dflt_value,pk FROM pragma_table_info('events')"),
              "id|INTEGER|0|-|1\nsessionId|TEXT|1|-|0\nat|INTEGER|1|-|0\nkind|TEXT|1|-|0\ndetail|TEXT|0|-|0\n"
              "certainty|TEXT|1|'observed'|0");
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
    store.ensureEntity("port:1", "watch:port 1", 30);
    EXPECT_EQ(sql(root.path(), "SELECT * FROM sessions"), "s|/b|/w|5|10|30\nport:1|watch:port 1|-|-|30|30");
    EXPECT_EQ(store.knownSessionIds(), (std::set<std::string>{"s", "port:1"}));
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
    EXPECT_TRUE(store.events("t").empty());
    EXPECT_TRUE(store.hasEvent("s", "first"));
    EXPECT_FALSE(store.hasEvent("t", "first"));
    store.appendObservation("s", -7, {Liveness::unknown, "method", "not kept"}, "idle", 30);
    EXPECT_EQ(sql(root.path(), "SELECT * FROM observations"), "1|s|30|-7|unknown|method|idle");

    EXPECT_EQ(failureOf([&] { store.appendEvent("t", "k", "d", "observed", 1); }),
              "step(\"FOREIGN KEY constraint failed\")");
    EXPECT_EQ(failureOf([&] { store.openName("t", "n", "r", "s", 1); }), "step(\"FOREIGN KEY constraint failed\")");
    EXPECT_EQ(failureOf([&] { store.rawExecForTesting("UPDATE events SET kind='x'"); }),
              "step(\"events e append-only: adaugă o înregistrare nouă, nu rescrie\")");
    EXPECT_EQ(failureOf([&] { store.rawExecForTesting("DELETE FROM events"); }),
              "step(\"events e append-only: nu se șterge\")");
    EXPECT_EQ(store.events("s"), events) << "a failed write leaves the store usable";
}

TEST(Store, AMissingTableIsFoundByWritesAndHiddenByReads) {
    const TemporaryDirectory root;
    Store store(root.path());
    store.rawExecForTesting("DROP TABLE names");
    EXPECT_EQ(failureOf([&] { store.closeName("s", 1); }), "prepare(\"no such table: names\")");
    EXPECT_EQ(store.currentName("s"), std::nullopt);
    EXPECT_TRUE(store.nameHistory("s").empty());
    EXPECT_EQ(failureOf([&] { store.rawExecForTesting("nonsense"); }), "step(\"near \\\"nonsense\\\": syntax error\")");
}

TEST(Store, SaysWhatIsWrongWithThePlaceItStandsIn) {
    const TemporaryDirectory home;
    const std::string file = home.write("file", "");
    home.makeDirectory("taken/havrick.db");
    home.write("garbage/havrick.db", std::string(5000, 'x'));
    EXPECT_EQ(failureOf([&] { const Store store(file); }), "filesystem error");
    EXPECT_EQ(failureOf([&] { const Store store(file + "/below"); }), "filesystem error");
    EXPECT_EQ(failureOf([&] { const Store store(home / "taken"); }), "open(\"unable to open database file\")");
    Store garbage(home / "garbage");
    EXPECT_EQ(failureOf([&] { garbage.upsertSession(session("s"), 1); }), "prepare(\"file is not a database\")");
    EXPECT_TRUE(garbage.knownSessionIds().empty());
    EXPECT_EQ(world::contentOf(home / "garbage/havrick.db"), std::string(5000, 'x'));
}

TEST(Store, DoesNotWaitForALockAndReadsBesideAWriter) {
    const TemporaryDirectory root;
    Store store(root.path());
    store.upsertSession(session("s"), 1);
    sqlite3* other = nullptr;
    ASSERT_EQ(::sqlite3_open((root / "havrick.db").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(::sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(failureOf([&] { store.upsertSession(session("t"), 1); }), "step(\"database is locked\")");
    EXPECT_EQ(store.knownSessionIds().size(), 1U);
    EXPECT_EQ(Store(root.path()).knownSessionIds().size(), 1U);
    ::sqlite3_close(other);
    store.upsertSession(session("t"), 1);
    EXPECT_EQ(store.knownSessionIds().size(), 2U);
}

TEST(StoreError, QuotesItsMessage) {
    EXPECT_STREQ(StoreError(StoreError::Case::open, "a\"b\\c\n\r\t\x01é").what(),
                 "open(\"a\\\"b\\\\c\\n\\r\\t\\u{1}é\")");
}

}  // namespace brellin
