#include "BrellinCore/sessions/SessionRegistry.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

namespace brellin {

using world::TemporaryDirectory;

TEST(SessionRegistry, ReadsEveryKeyByItsType) {
    const auto full = SessionRegistry::recordInDocument(
        R"({"sessionId":"s","pid":-5.0,"startedAt":1772373909123,"cwd":"/w","procStart":"p",
            "messagingSocketPath":"/tmp/cc-socks/1.sock","name":"n","nameSource":"derived","nameSince":7,
            "status":"idle","version":"2.0","other":{}})",
        "/a");
    const SessionRecord expected{"s", -5,        "/a", "/w",   1772373909123, "p", "/tmp/cc-socks/1.sock",
                                 "n", "derived", 7,    "idle", "2.0"};
    EXPECT_EQ(full, expected);

    const auto bare = SessionRegistry::recordInDocument(
        R"({"sessionId":"","pid":1,"startedAt":0,"cwd":5,"procStart":null,"messagingSocketPath":[],"name":true,
            "nameSource":{},"nameSince":"7","status":1.5,"version":null})",
        "/a");
    EXPECT_EQ(bare, (SessionRecord{.sessionId = "", .pid = 1, .accountPath = "/a"}));

    for (const std::string_view text : {
             R"({"pid":1,"startedAt":0})",
             R"({"sessionId":5,"pid":1,"startedAt":0})",
             R"({"sessionId":"s","startedAt":0})",
             R"({"sessionId":"s","pid":"1","startedAt":0})",
             R"({"sessionId":"s","pid":1.5,"startedAt":0})",
             R"({"sessionId":"s","pid":2147483648,"startedAt":0})",
             R"({"sessionId":"s","pid":true,"startedAt":0})",
             R"({"sessionId":"s","pid":1})",
             R"({"sessionId":"s","pid":1,"startedAt":1e30})",
             R"([{"sessionId":"s","pid":1,"startedAt":0}])",
             R"({"sessionId":"s","pid":1,"startedAt":0)",
         }) {
        EXPECT_EQ(SessionRegistry::recordInDocument(text, "/a"), std::nullopt) << text;
    }
}

TEST(SessionRegistry, DerivesTheShortAddressFromTheSocketPath) {
    // printf 'session:/tmp/cc-socks/1.sock' | sha256sum
    SessionRecord record{.socketPath = "/tmp/cc-socks/1.sock"};
    EXPECT_EQ(record.peerRef(), "9e9669");
    EXPECT_EQ(record.peerAddress(), std::nullopt);
    record.name = "kio apps";
    EXPECT_EQ(record.peerAddress(), "kio apps [9e9669]");
    record.socketPath = std::nullopt;
    EXPECT_EQ(record.peerRef(), std::nullopt);
    EXPECT_EQ(record.peerAddress(), std::nullopt);
}

TEST(SessionRegistry, NothingInTheDirectoryHidesASession) {
    const TemporaryDirectory account;
    const auto declare = [&](std::string_view file, std::string_view id, int startedAt) {
        account.write("sessions/" + std::string(file),
                      fmt::format(R"({{"sessionId":"{}","pid":1,"startedAt":{}}})", id, startedAt));
    };
    declare("b.json", "second", 5);
    declare("a.json", "first", 5);
    declare(".json", "oldest", 1);
    declare("caf\xE9.json", "bytes", 9);
    declare("c.JSON", "upper case", 0);
    declare("c.json.tmp", "other ending", 0);
    account.write("sessions/truncated.json", R"({"sessionId":"t","pi)");
    account.write("sessions/empty.json", "");
    account.makeDirectory("sessions/directory.json");
    ASSERT_EQ(::mkfifo((account / "sessions/fifo.json").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", account / "sessions/dangling.json");
    std::filesystem::create_symlink("../elsewhere", account / "sessions/linked.json");
    account.write("elsewhere", R"({"sessionId":"linked","pid":1,"startedAt":7})");

    std::vector<std::string> ids;
    for (const SessionRecord& record : SessionRegistry::records(account.path())) {
        ids.push_back(record.sessionId);
    }
    const std::vector<std::string> expected = {"oldest", "first", "second", "linked", "bytes"};
    EXPECT_EQ(ids, expected);
}

TEST(SessionRegistry, GoesThroughExistingAccountsInTheirOrder) {
    const TemporaryDirectory home;
    std::vector<ClaudeAccount> accounts;
    for (const char* name : {"z", "a", "m", "none"}) {
        home.write(fmt::format("{}/sessions/s.json", name),
                   fmt::format(R"({{"sessionId":"{}","pid":1,"startedAt":1}})", name));
        accounts.push_back({.path = home / name, .existsOnDisk = *name != 'm'});
    }
    std::filesystem::remove_all(home / "none/sessions");
    ASSERT_EQ(::mkfifo((home / "none/sessions").c_str(), 0600), 0);
    std::string ids;
    for (const SessionRecord& record : SessionRegistry::allRecords(accounts)) {
        ids += record.sessionId;
    }
    EXPECT_EQ(ids, "za");
}

}  // namespace brellin
