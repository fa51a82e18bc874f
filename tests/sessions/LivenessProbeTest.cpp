#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/sessions/LivenessProbe.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace brellin {

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
    const world::ScopedVariable zone("TZ", "Europe/Athens");
    EXPECT_EQ(LivenessProbe::startInPsOutput("Mon Nov  2 09:05:07 2026\n"), "Mon Nov 2 07:05:07 2026");
    for (const std::string_view output : {"", " \n", "garbage\n", "Mon Nov 2 09:05:07 2026\nMon Nov 2 09:05:07 2026\n",
                                          "Mon\tNov 2 09:05:07 2026", "Mon Nov 2 09:05:07 2026\xFF"}) {
        EXPECT_EQ(LivenessProbe::startInPsOutput(output), std::nullopt) << output;
    }
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

    const world::TemporaryDirectory directory;
    sockaddr_un address{.sun_family = AF_UNIX};
    fmt::format_to(address.sun_path, "{}", directory / "cc-socks");
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(::listen(socket.get(), 1), 0);
    const auto holders = LivenessProbe::listeningSocketPIDs();
    ASSERT_TRUE(holders);
    EXPECT_TRUE(holders->contains(::getpid()));
}

}  // namespace brellin
