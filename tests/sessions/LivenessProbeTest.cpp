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
using LivenessProbe::ProcStartComparison;

const std::string baseline = "Mon Nov 3 09:05:07 2026";

}  // namespace

TEST(LivenessProbe, HasThreeVerdictsAndSaysWhy) {
    struct Case {
        bool exists;
        OptionalText declared;
        OptionalText live;
        Liveness state;
        std::string_view method;
        OptionalText diagnostic;
    };
    for (
        const Case& each : {
            Case{false, baseline, baseline, Liveness::stale, "kill(pid,0)", "no process with PID -7"},
            Case{true, std::nullopt, baseline, Liveness::unknown, "kill(pid,0)",
                 "no procStart baseline — PID recycling cannot be ruled out"},
            Case{true, baseline, std::nullopt, Liveness::unknown, "kill(pid,0)",
                 "procStart unavailable (ps unreadable) — PID recycling cannot be ruled out"},
            Case{true, "Mon Nov  3 09:05:07 2026", baseline, Liveness::alive, "kill(pid,0) + procStart",
                 std::nullopt},
            Case{
                true, " Mon Nov  3 09:05:07 2026", "Mon Nov 3 09:05:08 2026", Liveness::stale,
                "procStart mismatch",
                "PID -7 recycled: the baseline says  Mon Nov  3 09:05:07 2026, the live process started at "
                "Mon Nov 3 09:05:08 2026"},
            Case{
                true, "", baseline, Liveness::unknown, "kill(pid,0)",
                "procStart unparsable (baseline: , process: Mon Nov 3 09:05:07 2026) — PID recycling cannot "
                "be ruled out"},
            Case{true, baseline, "soon", Liveness::unknown, "kill(pid,0)",
                 "procStart unparsable (baseline: Mon Nov 3 09:05:07 2026, process: soon) — PID recycling "
                 "cannot be ruled out"},
        }) {
        int existenceAsked = 0;
        int startAsked = 0;
        const auto exists = [&](std::int32_t pid) { return ++existenceAsked, each.exists && pid == -7; };
        const auto start = [&](std::int32_t /*pid*/) { return ++startAsked, each.live; };
        const auto verdict = LivenessProbe::verdict(PidStart{-7, each.declared}, exists, start);
        EXPECT_EQ(verdict, (LivenessVerdict{each.state, std::string(each.method), each.diagnostic}));
        EXPECT_EQ(existenceAsked, 1);
        EXPECT_EQ(startAsked, each.exists && each.declared ? 1 : 0);
    }
}

TEST(LivenessProbe, ComparesInstantsWithoutTolerance) {
    using LivenessProbe::compareProcStart;
    EXPECT_EQ(compareProcStart(baseline, "  Mon   Nov 03 09:05:07 2026 "), ProcStartComparison::match);
    EXPECT_EQ(compareProcStart(baseline, "Mon Nov 3 10:05:07 2026"), ProcStartComparison::mismatch);
    EXPECT_EQ(compareProcStart(baseline + "\n", baseline), ProcStartComparison::unparsable);
    EXPECT_EQ(compareProcStart(baseline, ""), ProcStartComparison::unparsable);
}

TEST(LivenessProbe, RecognisesARealProcessInEveryTimeZone) {
    const world::LiveProcess process;
    const PidStart declared{process.pid(), process.procStart()};
    for (const char* zone :
         {static_cast<const char*>(nullptr), "UTC", "Asia/Tokyo", "America/St_Johns", "Europe/Berlin"}) {
        const world::ScopedVariable timeZone("TZ", zone);
        EXPECT_EQ(LivenessProbe::verdict(declared).state, Liveness::alive)
            << (zone != nullptr ? zone : "unset");
    }
    EXPECT_EQ(LivenessProbe::verdict(PidStart{process.pid(), baseline}).method, "procStart mismatch");
    EXPECT_EQ(LivenessProbe::processStartUTCString(world::deadPid()), std::nullopt);
}

TEST(LivenessProbe, ReadsWhatPsPrints) {
    const world::ScopedVariable zone("TZ", "Europe/Athens");
    EXPECT_EQ(LivenessProbe::startInPsOutput("Mon Nov  2 09:05:07 2026\n"), "Mon Nov 2 07:05:07 2026");
    for (const std::string_view output :
         {"", " \n", "garbage\n", "Mon Nov 2 09:05:07 2026\nMon Nov 2 09:05:07 2026\n",
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

TEST(Liveness, RawValuesGoBothWays) {
    for (const Liveness state : {Liveness::alive, Liveness::stale, Liveness::unknown}) {
        EXPECT_EQ(livenessFromRaw(rawValue(state)), state);
    }
    EXPECT_EQ(livenessFromRaw("dead"), std::nullopt);
}

}  // namespace brellin
