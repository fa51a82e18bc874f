#include "BrellinCore/watch/WatchTarget.h"

#include "BrellinCore/text/Decimal.h"

#include <fmt/format.h>

#include <algorithm>
#include <type_traits>
#include <utility>

namespace brellin {

namespace {

/// A spec's two parts; both are non-empty.
struct SpecParts {
    std::string_view kind;
    std::string_view value;
};

std::optional<SpecParts> partsOf(std::string_view spec) {
    const std::size_t start = std::min(spec.find_first_not_of(':'), spec.size());
    const std::size_t colon = spec.find(':', start);
    if (colon == std::string_view::npos || colon + 1 == spec.size()) {
        return std::nullopt;
    }
    return SpecParts{spec.substr(start, colon - start), spec.substr(colon + 1)};
}

template <typename... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;  // clang 14 does not deduce it by itself

}  // namespace

std::optional<WatchTarget> WatchTarget::fromSpec(std::string_view spec) {
    const auto parts = partsOf(spec);
    if (!parts) {
        return std::nullopt;
    }
    if (parts->kind == "pid") {
        const auto number = parseDecimal<std::int32_t>(parts->value);
        return number ? std::optional(pid(*number)) : std::nullopt;
    }
    if (parts->kind == "cmd") {
        return command(std::string(parts->value));
    }
    if (parts->kind == "port") {
        const auto number = parseDecimal<Port>(parts->value);
        return number ? std::optional(port(*number)) : std::nullopt;
    }
    return std::nullopt;
}

WatchTarget WatchTarget::pid(std::int32_t pid, std::optional<std::string> procStartRaw) {
    return WatchTarget(PidStart{pid, std::move(procStartRaw)});
}

WatchTarget WatchTarget::command(std::string pattern) {
    return WatchTarget(Command{std::move(pattern)});
}

WatchTarget WatchTarget::port(Port port) {
    return WatchTarget(Kind(port));
}

std::string WatchTarget::key() const {
    return std::visit(Overloaded{[](const PidStart& start) { return fmt::format("pid:{}", start.pid); },
                                 [](const Command& command) { return "cmd:" + command.pattern; },
                                 [](Port port) { return fmt::format("port:{}", port); }},
                      kind_);
}

std::string WatchTarget::describe() const {
    return std::visit(
        Overloaded{[](const PidStart& start) { return fmt::format("PID {}", start.pid); },
                   [](const Command& command) { return fmt::format("command ~ “{}”", command.pattern); },
                   [](Port port) { return fmt::format("port {}", port); }},
        kind_);
}

}  // namespace brellin

std::size_t std::hash<brellin::WatchTarget>::operator()(const brellin::WatchTarget& target) const {
    using brellin::WatchTarget;
    constexpr std::size_t multiplier = 31;
    std::size_t combined = target.kind().index();
    const auto add = [&](const auto& value) {
        combined = combined * multiplier + std::hash<std::decay_t<decltype(value)>>()(value);
    };
    std::visit(brellin::Overloaded{[&](const brellin::PidStart& start) {
                                       add(start.pid);
                                       add(start.procStartRaw);
                                   },
                                   [&](const WatchTarget::Command& command) { add(command.pattern); },
                                   [&](WatchTarget::Port port) { add(port); }},
               target.kind());
    return combined;
}
