#include "bench/SessionFiles.h"

#include "BrellinCore/sessions/LivenessProbe.h"

#include <fmt/format.h>

#include <cstdint>
#include <filesystem>
#include <fstream>

namespace brellin::bench::SessionFiles {

namespace {

constexpr std::int64_t firstStart = 1'767'434'400'000;

void write(const std::string& home, int number, pid_t pid, const std::string& procStart) {
    const std::filesystem::path directory = home + "/.claude/sessions";
    std::filesystem::create_directories(directory);
    std::ofstream(directory / (sessionId(number) + ".json")) << text(number, pid, procStart);
}

}  // namespace

std::string sessionId(int number) {
    // Spread like the random ids of real sessions.
    return fmt::format("{:08x}-52c1-4f0e-9b1d-{:012x}", static_cast<unsigned>(number) * 2654435761U,
                       number);
}

std::string text(int number, pid_t pid, const std::string& procStart) {
    return fmt::format(
        R"({{"sessionId":"{}","pid":{},"cwd":"/home/ana/projects/storefront/services/checkout-{}",)"
        R"("startedAt":{},"procStart":"{}","version":"2.0.76","peerProtocol":1,"kind":"interactive",)"
        R"("entrypoint":"cli","messagingSocketPath":"/tmp/cc-socks/{}-{:x}.sock","name":"checkout-{:x}",)"
        R"("nameSource":"derived","nameSince":{},"status":"idle","updatedAt":{}}})",
        sessionId(number), pid, number, firstStart + number * 1000LL, procStart, pid, number, number,
        firstStart + number * 1000LL + 250, firstStart + number * 1000LL + 90'000);
}

void writeDead(const std::string& home, int count) {
    constexpr pid_t beyondAnyLimit = 5'000'000;
    for (int number = 0; number < count; ++number) {
        write(home, number, beyondAnyLimit + number, "Sat Jan 3 10:00:00 2026");
    }
}

void writeLive(const std::string& home, const std::vector<pid_t>& processes) {
    int number = 0;
    for (const pid_t pid : processes) {
        write(home, number++, pid, LivenessProbe::processStartUTCString(pid).value_or(""));
    }
}

}  // namespace brellin::bench::SessionFiles
