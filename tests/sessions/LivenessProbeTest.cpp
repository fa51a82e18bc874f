#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/sessions/LivenessProbe.h"
#include "tests/world/Program.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace brellin {

namespace {

using OptionalText = std::optional<std::string>;

const std::string baseline = "Mon Nov 3 09:05:07 2026";

}  // namespace

TEST(LivenessProbe, HasThreeVerdictsAndSaysWhy) {
    const std::string undecided = " — PID recycling cannot be ruled out";
    struct Case {
        bool exists;
        OptionalText declared;
        OptionalText live;
        std::string verdict;
    };
    for (const Case& each : {
             Case{false, baseline, baseline, "stale kill(pid,0) no process with PID -7"},
             Case{true, {}, baseline, "unknown kill(pid,0) no procStart baseline" + undecided},
             Case{true, baseline, {}, "unknown kill(pid,0) procStart unavailable (ps unreadable)" + undecided},
             Case{true, " Mon  Nov  03 09:05:07 2026", baseline, "alive kill(pid,0) + procStart "},
             Case{true, "Mon Nov  3 09:05:07 2026", "Mon Nov 3 09:05:08 2026",
                  "stale procStart mismatch PID -7 recycled: the baseline says Mon Nov  3 09:05:07 2026, the live "
                  "process started at Mon Nov 3 09:05:08 2026"},
             Case{true, "", baseline,
                  "unknown kill(pid,0) procStart unparsable (baseline: , process: " + baseline + ")" + undecided},
             Case{true, baseline, "soon",
                  "unknown kill(pid,0) procStart unparsable (baseline: " + baseline + ", process: soon)" + undecided},
             Case{true, baseline + "\n", baseline,
                  "unknown kill(pid,0) procStart unparsable (baseline: " + baseline + "\n, process: " + baseline + ")" +
                      undecided},
         }) {
        int existenceAsked = 0;
        int startAsked = 0;
        const auto exists = [&](std::int32_t pid) { return ++existenceAsked, each.exists && pid == -7; };
        const auto start = [&](std::int32_t /*pid*/) { return ++startAsked, each.live; };
        const auto [state, method, diagnostic] = LivenessProbe::verdict(PidStart{-7, each.declared}, exists, start);
        EXPECT_EQ(fmt::format("{} {} {}", rawValue(state), method, diagnostic.value_or("")), each.verdict);
        EXPECT_EQ(diagnostic.has_value(), state != Liveness::alive);
        EXPECT_EQ(existenceAsked, 1);
        EXPECT_EQ(startAsked, each.exists && each.declared ? 1 : 0);
    }
}

TEST(LivenessProbe, RecognisesARealProcessInEveryTimeZone) {
    const world::LiveProcess process;
    const PidStart declared{process.pid(), process.procStart()};
    for (const char* zone :
         {static_cast<const char*>(nullptr), "UTC", "Asia/Tokyo", "America/St_Johns", "Europe/Berlin"}) {
        const world::ScopedVariable timeZone("TZ", zone);
        EXPECT_EQ(LivenessProbe::verdict(declared).state, Liveness::alive) << (zone != nullptr ? zone : "unset");
    }
    EXPECT_EQ(LivenessProbe::verdict(PidStart{process.pid(), baseline}).method, "procStart mismatch");
    EXPECT_EQ(LivenessProbe::processStartUTCString(world::deadPid()), std::nullopt);
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
    using Pids = std::set<std::int32_t>;
    const std::pair<std::string_view, Pids> cases[] = {
        {"p123\nf4\nn/tmp/cc-socks/abc\n", {123}},
        {"p123\nn/var/run/other\n", {}},
        {"n/tmp/cc-socks/early\np5\n", {}},
        {"p5\nncc-socks\npx\nncc-socks\np\nncc-socks\np6\nnCC-SOCKS\nf\nn1 cc-socks 2\n", {5, 6}},
        {"p99999999999\nncc-socks\n", {}},
        {"", {}},
    };
    for (const auto& [output, pids] : cases) {
        EXPECT_EQ(LivenessProbe::socketPIDsInLsofOutput(output), pids) << output;
    }
    EXPECT_EQ(LivenessProbe::socketPIDsInLsofOutput("p1\nncc-socks\xFF\n"), std::nullopt);

    const world::TemporaryDirectory directory;
    sockaddr_un address{AF_UNIX, ""};
    fmt::format_to(address.sun_path, "{}", directory / "cc-socks");
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(::listen(socket.get(), 1), 0);
    const auto holders = LivenessProbe::listeningSocketPIDs();
    ASSERT_TRUE(holders);
    EXPECT_TRUE(holders->contains(::getpid()));
}

}  // namespace brellin
