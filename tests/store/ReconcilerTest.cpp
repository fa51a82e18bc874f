#include "BrellinCore/store/Reconciler.h"
#include "tests/world/Household.h"

#include <unistd.h>

namespace brellin {

namespace {

using Changes = std::vector<std::string>;
using world::sql;
using world::TemporaryDirectory;

SessionRecord session(const std::string& id, std::optional<std::string> name = std::nullopt,
                      std::optional<std::string> socket = std::nullopt) {
    return {.sessionId = id, .pid = 0, .accountPath = "/a", .socketPath = std::move(socket), .name = std::move(name)};
}

}  // namespace

TEST(Reconciler, WritesOneSnapshotAfterTheOther) {
    const TemporaryDirectory root;
    Store store(root.path());
    Reconciler reconciler(store);
    EXPECT_EQ(reconciler.reconcile({}, {}, 1), Changes());

    SessionRecord derived = session("0123456789", "old", "/s");
    derived.nameSource = "derived";
    derived.reportedStatus = "idle";
    EXPECT_EQ(reconciler.reconcile({derived, session("é-short")}, {{.path = "/a", .label = "main"}}, 10),
              (Changes{"seen:01234567", "seen:é-short"}));
    EXPECT_EQ(reconciler.reconcile({derived, session("é-short")}, {}, 20), Changes());
    EXPECT_EQ(reconciler.reconcile({session("0123456789", "new", "/s"), session("é-short", "n")}, {}, 30),
              (Changes{"renamed:new"}));
    EXPECT_EQ(reconciler.reconcile({session("0123456789", "newer", "/t"), session("é-short", "m")}, {}, 40),
              (Changes{"reincarnated:newer", "renamed:m"}));
    EXPECT_EQ(reconciler.reconcile({session("0123456789", "newest"), session("é-short")}, {}, 50),
              (Changes{"reincarnated:newest"}));
    EXPECT_EQ(reconciler.reconcile({}, {}, 60), (Changes{"undeclared:01234567", "undeclared:é-short"}));
    EXPECT_EQ(reconciler.reconcile({session("é-short")}, {}, 70), Changes());
    EXPECT_EQ(reconciler.reconcile({}, {}, 80), Changes()) << "a session is undeclared once";

    // printf 'session:/s' | sha256sum gives the digits, and so for /t.
    EXPECT_EQ(sql(root.path(), "SELECT at, kind, detail, certainty FROM events ORDER BY id"),
              "10|seen|first observation · account /a|observed\n"
              "10|seen|first observation · account /a|observed\n"
              "30|renamed|old → new · ref unchanged (59c7ba) · source: explicit|observed\n"
              "40|reincarnated|new [59c7ba] → newer [1895c5] · a new process; the old address no longer delivers|"
              "inferred\n"
              "40|renamed|n → m · ref unchanged (?) · source: explicit|observed\n"
              "50|reincarnated|newer [1895c5] → newest [?] · a new process; the old address no longer delivers|"
              "inferred\n"
              "60|undeclared|no longer has a registry entry in any enumerated account|observed\n"
              "60|undeclared|no longer has a registry entry in any enumerated account|observed");
    EXPECT_EQ(sql(root.path(), "SELECT name, ref, source, validFrom, validTo FROM names ORDER BY id"),
              "old|59c7ba|derived|10|30\nnew|59c7ba|-|30|40\nn|-|-|30|40\nnewer|1895c5|-|40|50\nm|-|-|40|-\n"
              "newest|-|-|50|-");
    EXPECT_EQ(sql(root.path(), "SELECT count(*), min(reportedStatus) FROM observations"), "11|idle");
    EXPECT_EQ(sql(root.path(), "SELECT * FROM accounts"), "/a|main|-|0|10|10");
}

TEST(Reconciler, StoresTheVerdictOfEachProcess) {
    const TemporaryDirectory root;
    Store store(root.path());
    const world::LiveProcess process;
    std::vector<SessionRecord> records(3, session("same"));
    records[0].pid = records[1].pid = process.pid();
    records[0].procStartRaw = process.procStart();
    records[2].pid = world::deadPid();
    EXPECT_EQ(Reconciler(store).reconcile(records, {}, 1), (Changes{"seen:same", "seen:same", "seen:same"}))
        << "what was known when the call began decides";
    EXPECT_EQ(sql(root.path(), "SELECT liveness, livenessMethod FROM observations ORDER BY id"),
              "alive|kill(pid,0) + procStart\nunknown|kill(pid,0)\nstale|kill(pid,0)");
}

TEST(Reconciler, EndsAtTheFirstFailureAndKeepsWhatWasWritten) {
    const TemporaryDirectory root;
    Store store(root.path());
    Reconciler(store).reconcile({session("a", "one"), session("b")}, {}, 1);
    store.rawExecForTesting(
        "CREATE TRIGGER refuse BEFORE INSERT ON events WHEN NEW.kind='renamed' "
        "BEGIN SELECT RAISE(ABORT, 'refused'); END");
    EXPECT_THROW(Reconciler(store).reconcile({session("a", "two"), session("c")}, {}, 2), StoreError);
    EXPECT_EQ(sql(root.path(), "SELECT name, validTo FROM names"), "one|2") << "closed, without a successor";
    EXPECT_EQ(store.knownSessionIds(), (std::set<std::string>{"a", "b"}));

    store.rawExecForTesting("DROP TRIGGER refuse");
    store.ensureEntity("port:8080", "watch:port 8080", 3);
    EXPECT_EQ(Reconciler(store).reconcile({session("a", "two"), session("b")}, {}, 4), (Changes{"undeclared:port:808"}))
        << "a watched target counts as a vanished session";
}

}  // namespace brellin
