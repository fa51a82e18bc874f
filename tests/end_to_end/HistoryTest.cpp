#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/store/Store.h"
#include "tests/world/Household.h"

namespace brellin {

namespace {

namespace fs = std::filesystem;
using world::sql;
using world::withoutRights;

/// `havrick history`, on a history of two sessions and a watched target. In its middle the clock was set back.
class History : public world::Household {
  protected:
    History() {
        Store store(root_);
        store.recordAccount({.path = "/a", .label = "main"}, 1);
        store.ensureEntity("port:1", "watch:port 1", 4000);
        store.openName("port:1", "node", "7@start", std::nullopt, 4000);
        const SessionRecord record = {.sessionId = "session-1", .accountPath = "/a", .cwd = "/w", .startedAt = 500};
        store.upsertSession(record, 0);
        store.upsertSession(record, 86'400'000);
        store.openName("session-1", "one", "aaaaaa", "derived", 3000);
        store.closeName("session-1", 4000);
        store.openName("session-1", "two", std::nullopt, std::nullopt, 2000);
        store.appendEvent("session-1", "renamed", "detail", "inferred", 3000);
        store.appendEvent("session-1", "died", std::nullopt, "observed", 2000);
        store.appendObservation("session-1", 7, {Liveness::alive, "method", {}}, "idle", 3000);
        store.appendObservation("session-1", 8, {Liveness::stale, "method", {}}, std::nullopt, 2000);
        store.upsertSession({.sessionId = "session-2", .accountPath = "/b", .startedAt = 500}, 5000);
        store.openName("session-2", "x\n\033[1m\u202Ey", "bbbbbb", std::nullopt, 5000);
        store.appendEvent("session-2", "undeclared", "a\nb", "observed", 5000);
    }
};

}  // namespace

TEST_F(History, ListsTheLatestFirst) {
    const std::string one =
        "session-  alive  two [?] · main · 1970-01-01 00:00:00 +0000 to 1970-01-02 00:00:00 +0000 · 2 events\n";
    const std::string two =
        "session-  gone  x\uFFFD\uFFFD[1m\uFFFDy [bbbbbb] · /b · 1970-01-01 00:00:05 +0000 to "
        "1970-01-01 00:00:05 +0000 · 1 event\n";
    const std::string port =
        "port:1  unknown  node [7@start] · watched · 1970-01-01 00:00:04 +0000 to 1970-01-01 00:00:04 +0000 · 0 events\n";
    environment_["TZ"] = "Asia/Tokyo";
    const std::string nothing = "havrick: the history " + root_ + "/havrick.db holds nothing that fits\nexit 1\n";
    for (const auto& [options, list] : {std::pair{"", one + two + port},
                                        {"--since '1970-01-01 09:00:05'", one + two},
                                        {"--since 1970-01-01T00:00:06Z", one},
                                        {"--until 1970-01-01T00:00:04Z", one + port},
                                        {"--since 1d", nothing},
                                        {"--account main", one},
                                        {"--account /b", two},
                                        {"--kind undeclared", two},
                                        {"--kind undeclared --until 1970-01-01T00:00:04Z", nothing},
                                        {"--kind renamed --since 1970-01-01T00:00:04Z", nothing},
                                        {"--limit 1", one}}) {
        EXPECT_EQ(tell(std::string("history --utc ") + options), list) << options;
    }
    EXPECT_TRUE(tell("history --full").starts_with("session-1  alive  two [?] · main · 1970-01-01 09:00:00 +0900 to "));
}

TEST_F(History, TellsEverythingAboutWhatIsNamedInTheOrderOfWriting) {
    const std::string session =
        "session-1\n  account : /a\n  cwd     : /w\n  started : 1970-01-01 00:00:00 +0000\n"
        "  seen    : 1970-01-01 00:00:00 +0000 to 1970-01-02 00:00:00 +0000\n  state   : alive\n  Names:\n";
    const std::string firstName = "    1970-01-01 00:00:03 +0000 to 1970-01-01 00:00:04 +0000 — one [aaaaaa]\n";
    const std::string lastName = "    1970-01-01 00:00:02 +0000 to now — two [?]\n";
    const std::string renamed = "    1970-01-01 00:00:03 +0000 — renamed (inferred) — detail\n";
    const std::string died = "    1970-01-01 00:00:02 +0000 — died (observed) — \n";
    const std::string names = session + firstName + lastName + "  Events:\n";
    const std::string all = names + renamed + died;
    const std::string lastOfAll = session + lastName + "  Events:\n" + died;
    const std::string looks =
        "  Observations:\n    1970-01-01 00:00:03 +0000 — alive via method · pid 7 · reported: idle\n";
    const std::string lastLook = "    1970-01-01 00:00:02 +0000 — stale via method · pid 8 · reported: unknown\n";
    const std::string port =
        "port:1\n  watched : port 1\n  seen    : 1970-01-01 00:00:04 +0000 to 1970-01-01 00:00:04 +0000\n"
        "  state   : unknown\n  Names:\n    1970-01-01 00:00:04 +0000 to now — node [7@start]\n";
    const std::string nobody =
        "havrick: the history knows no id that begins with \"%\", and no name, short address or watched target "
        "\"%\"\nexit 1\n";
    for (const auto& [what, told] : {std::pair<const char*, std::string>{"session-1", all},
                                     {"one", all},
                                     {"aaaaaa", all},
                                     {"one --full", all + looks + lastLook},
                                     {"one --limit 1", lastOfAll},
                                     {"one --full --limit 1 | tail -n 1", lastLook},
                                     {"one --until 1970-01-01T00:00:02Z", lastOfAll},
                                     {"one --since 1970-01-01T00:00:03Z", names + renamed},
                                     {"one --since 1970-01-01T00:00:05Z", session + lastName},
                                     {"one --kind renamed", names + renamed},
                                     {"port:1", port},
                                     {"session-2 | grep -c .", "10\n"},
                                     {"session",
                                      "havrick: \"session\" stands for 2 entries of the history; say which by its id:\n"
                                      "havrick:   alive    session-1  main  two [?]\n"
                                      "havrick:   gone     session-2  /b  x\uFFFD\uFFFD[1m\uFFFDy [bbbbbb]\nexit 1\n"},
                                     {"%", nobody}}) {
        EXPECT_EQ(tell(std::string("history ") + what), told) << what;
    }
    environment_["TZ"] = "Asia/Tokyo";
    EXPECT_EQ(tell("history one --utc"), all);
    EXPECT_NE(tell("history one").find("1970-01-01 09:00:03 +0900 — renamed"), std::string::npos);
}

TEST_F(History, IsOneJSONDocument) {
    const std::string entry =
        R"({"sessionId":"session-1","accountPath":"/a","accountLabel":"main","cwd":"/w","startedAt":500,)"
        R"("startedAtTime":"1970-01-01T00:00:00.500Z","firstSeen":0,"firstSeenTime":"1970-01-01T00:00:00.000Z",)"
        R"("lastSeen":86400000,"lastSeenTime":"1970-01-02T00:00:00.000Z","name":"two","state":"alive","eventCount":2)";
    const std::string names =
        R"(,"names":[{"name":"one","ref":"aaaaaa","from":3000,"fromTime":"1970-01-01T00:00:03.000Z","to":4000,)"
        R"("toTime":"1970-01-01T00:00:04.000Z"},{"name":"two","from":2000,"fromTime":"1970-01-01T00:00:02.000Z"}])";
    const std::string look =
        R"({"at":2000,"atTime":"1970-01-01T00:00:02.000Z","pid":8,"state":"stale","method":"method"})";
    EXPECT_EQ(tell("history --json --limit 1"), "{\"entries\":[" + entry + "}]}\n");
    EXPECT_EQ(tell("history one --json --kind renamed"),
              entry + names + R"(,"events":[{"at":3000,"atTime":"1970-01-01T00:00:03.000Z","kind":"renamed",)" +
                  R"("certainty":"inferred","detail":"detail"}]})" + "\n");
    EXPECT_TRUE(tell("history one --json --full").ends_with("," + look + "]}\n"));
    EXPECT_EQ(tell("history --json --kind left"), "{\"entries\":[]}\n");
}

TEST_F(History, SaysWhyItCannotBeReadAndMakesNone) {
    home_.write("garbage/havrick.db", std::string(5000, 'x'));
    home_.write("empty/havrick.db", "");
    sql(home_.makeDirectory("other"), "CREATE TABLE t(c)");
    sql(home_.makeDirectory("half"), "CREATE TABLE accounts(c); CREATE TABLE names(c)");
    for (const auto& [directory, reason] : {std::pair<std::string, const char*>{"garbage", "file is not a database"},
                                            {"empty", "it is empty"},
                                            {"half", "its table sessions is missing"},
                                            {"other", "it is a database of another program"}}) {
        environment_["HAVRICK_ROOT"] = home_ / directory;
        const std::string file = directory + "/havrick.db";
        const std::string content = home_.read(file);
        EXPECT_EQ(tell("history"),
                  "havrick: the history " + home_ / file + " cannot be read: " + reason + "\nexit 1\n");
        EXPECT_EQ(home_.read(file), content);
        EXPECT_EQ(std::distance(fs::directory_iterator(home_ / directory), {}), 1);
    }
    environment_["HAVRICK_ROOT"] = home_ / "none";
    EXPECT_EQ(tell("history"), "havrick: there is no history yet: " + home_ / "none" +
                                   "/havrick.db does not exist (`havrick record` writes it)\nexit 1\n");
    EXPECT_EQ(tell("history prune --older-than 1d"),
              "havrick: there is no history yet: " + home_ / "none" +
                  "/havrick.db does not exist (`havrick record` writes it)\nexit 1\n");
    EXPECT_FALSE(fs::exists(home_ / "none"));
}

TEST_F(History, IsReadWhereNobodyMayWrite) {
    const auto run = runIn("cp -r data 'a ?#%41'; chmod 555 a*; export HAVRICK_ROOT=\"$PWD/a ?#%41\"; " +
                           withoutRights + "bin/havrick history one; chmod 700 a*");
    EXPECT_EQ(run.output + run.errors, tell("history one"));
}

TEST_F(History, LosesOldObservationsWhenAsked) {
    Store(root_).appendObservation("session-1", 9, {Liveness::unknown, "m", {}}, {}, Clock::now() - 1000);
    const auto pids = [&] { return sql(root_, "SELECT group_concat(pid) FROM observations"); };
    EXPECT_EQ(tell("record --keep 30000d | cut -d ' ' -f 4"), "undeclared\n");
    EXPECT_EQ(pids(), "7,8,9");
    EXPECT_EQ(tell("record --keep 1h"), "");
    EXPECT_EQ(pids(), "9");
    EXPECT_EQ(tell("history prune --older-than 1h"), "0 observations removed, 0 bytes free for new ones\n");
    EXPECT_EQ(tell("history prune --older-than 0 --vacuum | cut -d ' ' -f 2-"),
              "observations removed, 0 bytes free for new ones\nbytes given back\n");
    EXPECT_EQ(pids(), "-");
}

TEST_F(History, TellsResolveWhoHadAName) {
    const std::string answer = ask("resolve", "one");
    EXPECT_EQ(tell("resolve one 2>/dev/null"), answer.substr(7) + "\nexit 1\n") << "the tool's text, and nothing else";
    const std::string carrier =
        "havrick: the history has one [aaaaaa], 1970-01-01 00:00:03 +0000 to 1970-01-01 00:00:04 +0000: "
        "session session-1, now alive\n";
    EXPECT_EQ(tell("resolve one 2>&1 >/dev/null"), carrier + "exit 1\n");
    EXPECT_EQ(tell("resolve aaaaaa 2>&1 >/dev/null"), carrier + "exit 1\n");
    EXPECT_EQ(tell("resolve session 2>&1 >/dev/null"), "exit 1\n") << "an id is no name";
}

}  // namespace brellin
