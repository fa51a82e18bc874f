#include "BrellinCore/store/Reconciler.h"
#include "tests/world/Database.h"
#include "tests/world/Program.h"
#include "tests/world/TemporaryDirectory.h"

#include <gtest/gtest.h>
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

    const std::string s = *session("", "", "/s").peerRef();
    const std::string t = *session("", "", "/t").peerRef();
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

    EXPECT_EQ(sql(root.path(), "SELECT at, kind, detail, certainty FROM events ORDER BY id"),
              "10|seen|first observation · account /a|observed\n"
              "10|seen|first observation · account /a|observed\n"
              "30|renamed|old → new · ref unchanged (" +
                  s +
                  ") · source: explicit|observed\n"
                  "40|reincarnated|new [" +
                  s + "] → newer [" + t +
                  "] · a new process; the old address no longer delivers|inferred\n"
                  "40|renamed|n → m · ref unchanged (?) · source: explicit|observed\n"
                  "50|reincarnated|newer [" +
                  t +
                  "] → newest [?] · a new process; the old address no longer delivers|inferred\n"
                  "60|undeclared|no longer has a registry entry in any enumerated account|observed\n"
                  "60|undeclared|no longer has a registry entry in any enumerated account|observed");
    EXPECT_EQ(sql(root.path(), "SELECT name, ref, source, validFrom, validTo FROM names ORDER BY id"),
              "old|" + s + "|derived|10|30\nnew|" + s + "|-|30|40\nn|-|-|30|40\nnewer|" + t +
                  "|-|40|50\nm|-|-|40|-\nnewest|-|-|50|-");
    EXPECT_EQ(sql(root.path(), "SELECT count(*), min(reportedStatus) FROM observations"), "11|idle");
    EXPECT_EQ(sql(root.path(), "SELECT * FROM accounts"), "/a|main|-|0|10|10");
}

TEST(Reconciler, StoresTheVerdictOfEachProcess) {
    const TemporaryDirectory root;
    Store store(root.path());
    const world::LiveProcess process;
    const auto declared = [&](std::int32_t pid, std::optional<std::string> start) {
        SessionRecord record = session("same");
        record.pid = pid;
        record.procStartRaw = std::move(start);
        return record;
    };
    EXPECT_EQ(
        Reconciler(store).reconcile({declared(process.pid(), process.procStart()),
                                     declared(process.pid(), std::nullopt), declared(world::deadPid(), std::nullopt)},
                                    {}, 1),
        (Changes{"seen:same", "seen:same", "seen:same"}))
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
}

TEST(Reconciler, CountsWatchedTargetsAsVanishedSessions) {
    const TemporaryDirectory root;
    Store store(root.path());
    store.ensureEntity("port:8080", "watch:port 8080", 1);
    EXPECT_EQ(Reconciler(store).reconcile({}, {}, 2), (Changes{"undeclared:port:808"}));
}

}  // namespace brellin
