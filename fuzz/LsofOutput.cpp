#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/text/Utf8.h"
#include "BrellinCore/watch/TargetProbe.h"
#include "fuzz/Target.h"

#include <fmt/format.h>

namespace brellin {

namespace {

using fuzz::require;

void feedSockets(std::string_view output) {
    const auto holders = LivenessProbe::socketPIDsInLsofOutput(output);
    require(holders.has_value() == Utf8::isValid(output), "output that is not UTF-8 says nothing");
    std::string written;
    for (const std::int32_t pid : holders.value_or(std::set<std::int32_t>())) {
        written += fmt::format("p{}\nn/tmp/cc-socks/{}.sock\n", pid, pid);
    }
    require(!holders || LivenessProbe::socketPIDsInLsofOutput(written) == holders,
            "holders of sockets that are written out are read as the same");
}

void feedListeners(std::string_view output) {
    const auto listeners = TargetProbe::listenersInLsofOutput(output);
    std::string written;
    for (const ProcessSnapshot& listener : listeners) {
        written += fmt::format("p{}\nc{}\n", listener.pid, listener.command);
    }
    require(TargetProbe::listenersInLsofOutput(written) == listeners,
            "listeners that are written out are read as the same");
}

}  // namespace

void fuzz::feed(std::string_view input) {
    feedSockets(input);
    feedListeners(input);
}

}  // namespace brellin
