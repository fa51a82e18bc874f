#pragma once

#include "BrellinCore/sessions/Liveness.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace brellin {

/// Something on the machine to keep an eye on: one process id, any process whose command line contains a
/// pattern, or whoever listens on a TCP port. An immutable value.
///
/// Its key ("pid:4242", "cmd:node server.js", "port:8080") is its identity in lists and in the history: two
/// targets with the same key are the same target, even where equality tells them apart by a baseline.
class WatchTarget {
  public:
    struct Command {
        std::string pattern;
        friend bool operator==(const Command&, const Command&) = default;
    };
    using Port = std::uint16_t;
    /// In the order of their case index.
    using Kind = std::variant<PidStart, Command, Port>;

    /// Parses KIND ":" VALUE; nullopt when it is rejected. Leading colons are ignored, nothing is trimmed.
    /// Kinds, compared exactly: "pid" (a decimal 32-bit number with an optional sign), "cmd" (any text),
    /// "port" (a decimal number from 0 to 65535).
    static std::optional<WatchTarget> fromSpec(std::string_view spec);

    /// How specs are written, for messages: "pid:<number>, cmd:<text>, port:<number>".
    static std::string specForms();

    /// @param procStartRaw the start time declared for the process, in UTC, where one was declared
    static WatchTarget pid(std::int32_t pid, std::optional<std::string> procStartRaw = std::nullopt);
    static WatchTarget command(std::string pattern);
    static WatchTarget port(Port port);

    const Kind& kind() const { return kind_; }

    /// This target as a spec in its normal form, without a baseline.
    std::string key() const;

    /// For people: "PID 4242", "command ~ “node”", "port 8080".
    std::string describe() const;

    friend bool operator==(const WatchTarget&, const WatchTarget&) = default;

  private:
    explicit WatchTarget(Kind kind) : kind_(std::move(kind)) {}

    Kind kind_;
};

}  // namespace brellin

/// Combines the case index and the payload.
template <>
struct std::hash<brellin::WatchTarget> {
    std::size_t operator()(const brellin::WatchTarget& target) const;
};
