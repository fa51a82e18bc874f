#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/text/Split.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>

namespace brellin {

using world::TemporaryDirectory;
const std::string baseline = "Mon Nov 3 09:05:07 2026";

TEST(LivenessProbe, HasThreeVerdictsAndSaysWhy) {
    using Text = std::optional<std::string>;
    const std::string undecided = " — PID recycling cannot be ruled out";
    const std::string unparsable = "unknown kill(pid,0) procStart unparsable (baseline: ";
    // Whether the process exists, its declared start and its live one, and the verdict.
    const std::tuple<bool, Text, Text, std::string> cases[] = {
        {false, baseline, baseline, "stale kill(pid,0) no process with PID -7"},
        {true, {}, baseline, "unknown kill(pid,0) no procStart baseline" + undecided},
        {true, baseline, {}, "unknown kill(pid,0) procStart unavailable (ps unreadable)" + undecided},
        {true, " Mon  Nov  03 09:05:07 2026", baseline, "alive kill(pid,0) + procStart -"},
        {true, "Mon Nov  3 09:05:07 2026", "Mon Nov 3 09:05:08 2026",
         "stale procStart mismatch PID -7 recycled: the baseline says Mon Nov  3 09:05:07 2026, the live "
         "process started at Mon Nov 3 09:05:08 2026"},
        {true, "", baseline, unparsable + ", process: " + baseline + ")" + undecided},
        {true, baseline, "soon", unparsable + baseline + ", process: soon)" + undecided},
        {true, baseline + "\n", baseline, unparsable + baseline + "\n, process: " + baseline + ")" + undecided}};
    for (const auto& each : cases) {
        const auto& [exists, declared, live, expected] = each;
        std::string asked;
        const auto [state, method, diagnostic] = LivenessProbe::verdict(
            PidStart{-7, declared},
            [&](std::int32_t pid) { return asked += fmt::format("exists {}", pid), std::get<0>(each); },
            [&](std::int32_t pid) { return asked += fmt::format(", start {}", pid), std::get<2>(each); });
        EXPECT_EQ(fmt::format("{} {} {}", rawValue(state), method, diagnostic.value_or("-")), expected);
        EXPECT_EQ(asked, exists && declared ? "exists -7, start -7" : "exists -7");
    }
}

TEST(LivenessProbe, ReadsWhatPsPrints) {
    ::setenv("TZ", "Europe/Athens", 1);
    EXPECT_EQ(LivenessProbe::startInPsOutput("Mon Nov  2 09:05:07 2026\n"), "Mon Nov 2 07:05:07 2026");
    for (const std::string_view output : {"", " \n", "garbage\n", "Mon Nov 2 09:05:07 2026\nMon Nov 2 09:05:07 2026\n",
                                          "Mon\tNov 2 09:05:07 2026", "Mon Nov 2 09:05:07 2026\xFF"}) {
        EXPECT_EQ(LivenessProbe::startInPsOutput(output), std::nullopt) << output;
    }
}

TEST(LivenessProbe, MeasuresManyStartsAtOnce) {
    EXPECT_EQ(
        LivenessProbe::processesInPsTable("   12 Ss   Mon Nov  2 09:05:07 2026\n7 Zs Mon Nov 2 23:59:59 2026\n"
                                          "x S Mon Nov 2 09:05:07 2026\n13\n14 S\n14 Z soon\n99999999999 S " +
                                          baseline + "\n\n15 S " + baseline + " more\n16 S " + baseline + "\xFF\n"),
        (LivenessProbe::PsTable{{{12, "Mon Nov 2 09:05:07 2026"}, {7, "Mon Nov 2 23:59:59 2026"}}, {7}}));

    ::setenv("TZ", "Asia/Tokyo", 1);
    const std::int32_t self = ::getpid();
    std::vector<std::int32_t> pids = {0, -1, 2'147'483'647, self, 1, self};
    const auto [starts, zombies, ending] = LivenessProbe::processStartsUTC(pids, {});
    ASSERT_TRUE(starts && starts->contains(self));
    EXPECT_EQ(starts->at(self), LivenessProbe::processStartUTCString(self));
    EXPECT_LE(starts->size(), 2U) << "of process 1 a /proc that hides says nothing";
    EXPECT_EQ(ending, ChildProcess::Ending::exited);
    using namespace std::chrono_literals;
    const auto cut = LivenessProbe::processStartsUTC(pids, {.limit = 0ms});
    EXPECT_TRUE(!cut.starts && cut.ending == ChildProcess::Ending::timedOut);
    EXPECT_TRUE(LivenessProbe::processStartsUTC({}, {.limit = 0ms}).starts) << "nothing to ask for";
}

TEST(LivenessProbe, ReadsSocketHoldersFromLsof) {
    const std::pair<std::string_view, std::set<std::int32_t>> cases[] = {
        {"p123\nf4\nn/tmp/cc-socks/abc\n", {123}},
        {"p123\nn/var/run/other\n", {}},
        {"n/tmp/cc-socks/early\np5\n", {}},
        {"p5\nncc-socks\npx\nncc-socks\np\nncc-socks\np6\nnCC-SOCKS\nf\nn1 cc-socks 2\n", {5, 6}},
        {"p99999999999\nncc-socks\n", {}},
        {"", {}}};
    for (const auto& [output, pids] : cases) {
        EXPECT_EQ(LivenessProbe::socketPIDsInLsofOutput(output), pids) << output;
    }
    EXPECT_EQ(LivenessProbe::socketPIDsInLsofOutput("p1\nncc-socks\xFF\n"), std::nullopt);

    const TemporaryDirectory directory;
    sockaddr_un address{.sun_family = AF_UNIX};
    fmt::format_to(address.sun_path, "{}", directory / "cc-socks");
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(::listen(socket.get(), 1), 0);
    const auto holders = LivenessProbe::listeningSocketPIDs();
    ASSERT_TRUE(holders);
    EXPECT_TRUE(holders->contains(::getpid()));
}

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
             R"({"sessionId":"s","pid":2147483648,"startedAt":0};{"sessionId":"s","pid":-2147483649,"startedAt":0};)"
             R"({"sessionId":"s","pid":true,"startedAt":0};)"
             R"({"sessionId":"s","pid":1};{"sessionId":"s","pid":1,"startedAt":1e30};)"
             R"([{"sessionId":"s","pid":1,"startedAt":0}];{"sessionId":"s","pid":1,"startedAt":0)",
             ";")) {
        EXPECT_EQ(SessionRegistry::recordInDocument(text, "/a"), std::nullopt) << text;
    }
}

TEST(SessionRegistry, ReadsWhatItCanOfExistingAccountsInOrder) {
    const TemporaryDirectory home;
    for (const char* file : {"z/sessions/b.json", "z/sessions/B.json", "z/sessions/a.json", "z/sessions/.json",
                             "z/sessions/c.JSON", "z/sessions/c.json.tmp", "a/sessions/s.json", "m/sessions/s.json"}) {
        home.write(file, fmt::format(R"({{"sessionId":"{}","pid":1,"startedAt":5}})", file));
    }
    home.write("z/sessions/c.json", R"({"sessionId":"first","pid":1,"startedAt":1})");
    home.write("z/sessions/caf\xE9.json", R"({"sessionId":"bytes","pid":1,"startedAt":9})");
    home.write("z/sessions/truncated.json", R"({"sessionId":"t","pi)");
    home.makeDirectory("z/sessions/directory.json");
    home.write("file/sessions", "");
    std::vector<ClaudeAccount> accounts;
    for (const char* name : {"z", "file", "none", "m", "a"}) {
        accounts.push_back({.path = home / name, .existsOnDisk = *name != 'm'});
    }
    std::string ids;
    for (const SessionRecord& record : SessionRegistry::allRecords(accounts)) {
        ids += record.sessionId + " ";
    }
    EXPECT_EQ(ids,
              "first z/sessions/.json z/sessions/B.json z/sessions/a.json z/sessions/b.json bytes a/sessions/s.json ");
}

}  // namespace brellin
