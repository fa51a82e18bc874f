#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brellin {

/// Whether a declared process is still the one that was declared. Three verdicts, never two.
enum class Liveness {
    alive,    ///< it exists and started when the declaration says
    stale,    ///< it is gone, or its PID belongs to a process that started at another time
    unknown,  ///< a process with this PID exists, but whether it is the declared one cannot be decided
};

/// "alive", "stale" or "unknown".
std::string_view rawValue(Liveness liveness);

/// The state with that raw value; nullopt for any other text.
std::optional<Liveness> livenessFromRaw(std::string_view text);

/// The result of one probe.
struct LivenessVerdict {
    Liveness state = Liveness::unknown;
    std::string method;                     ///< which test decided it, one of a few fixed texts
    std::optional<std::string> diagnostic;  ///< an explanation; absent only when alive

    friend bool operator==(const LivenessVerdict&, const LivenessVerdict&) = default;
};

/// Anything that can be probed: a declared process id and, where one was declared, the start time of that
/// process as text in UTC ("Mon Nov 3 09:05:07 2026"), the baseline.
template <typename Target>
concept LivenessTarget = requires(const Target& target) {
    { target.pid } -> std::convertible_to<std::int32_t>;
    { target.procStartRaw } -> std::convertible_to<const std::optional<std::string>&>;
};

/// A process known only by its PID and a start text.
struct PidStart {
    std::int32_t pid = 0;
    std::optional<std::string> procStartRaw;

    friend bool operator==(const PidStart&, const PidStart&) = default;
};
static_assert(LivenessTarget<PidStart>);

}  // namespace brellin
