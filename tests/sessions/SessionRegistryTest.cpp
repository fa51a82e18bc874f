#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/text/Split.h"
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

    for (const std::string_view text : splitDroppingEmpty(
             R"({"pid":1,"startedAt":0};{"sessionId":5,"pid":1,"startedAt":0};{"sessionId":"s","startedAt":0};)"
             R"({"sessionId":"s","pid":"1","startedAt":0};{"sessionId":"s","pid":1.5,"startedAt":0};)"
             R"({"sessionId":"s","pid":2147483648,"startedAt":0};{"sessionId":"s","pid":true,"startedAt":0};)"
             R"({"sessionId":"s","pid":1};{"sessionId":"s","pid":1,"startedAt":1e30};)"
             R"([{"sessionId":"s","pid":1,"startedAt":0}];{"sessionId":"s","pid":1,"startedAt":0)",
             ";")) {
        EXPECT_EQ(SessionRegistry::recordInDocument(text, "/a"), std::nullopt) << text;
    }
}

TEST(SessionRegistry, ReadsWhatItCanOfExistingAccountsInOrder) {
    const TemporaryDirectory home;
    const auto declare = [&](const std::string& file, int startedAt) {
        home.write(file, fmt::format(R"({{"sessionId":"{}","pid":1,"startedAt":{}}})", file, startedAt));
    };
    for (const char* file : {"z/sessions/b.json", "z/sessions/B.json", "z/sessions/a.json", "z/sessions/.json",
                             "z/sessions/c.JSON", "z/sessions/c.json.tmp", "a/sessions/s.json", "m/sessions/s.json"}) {
        declare(file, 5);
    }
    declare("z/sessions/c.json", 1);
    declare("z/linked", 7);
    home.write("z/sessions/caf\xE9.json", R"({"sessionId":"bytes","pid":1,"startedAt":9})");
    home.write("z/sessions/truncated.json", R"({"sessionId":"t","pi)");
    home.write("z/sessions/empty.json", "");
    home.makeDirectory("z/sessions/directory.json");
    home.makeDirectory("fifo");
    ASSERT_EQ(::mkfifo((home / "z/sessions/fifo.json").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo((home / "fifo/sessions").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", home / "z/sessions/dangling.json");
    std::filesystem::create_symlink("../linked", home / "z/sessions/linked.json");

    std::vector<ClaudeAccount> accounts;
    for (const char* name : {"z", "fifo", "none", "m", "a"}) {
        accounts.push_back({.path = home / name, .existsOnDisk = *name != 'm'});
    }
    std::string ids;
    for (const SessionRecord& record : SessionRegistry::allRecords(accounts)) {
        ids += record.sessionId + " ";
    }
    EXPECT_EQ(ids,
              "z/sessions/c.json z/sessions/.json z/sessions/B.json z/sessions/a.json z/sessions/b.json z/linked "
              "bytes a/sessions/s.json ");
}

}  // namespace brellin
