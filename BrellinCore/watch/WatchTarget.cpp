#include "BrellinCore/watch/WatchTarget.h"

#include "BrellinCore/text/Decimal.h"
#include "BrellinCore/watch/Overloaded.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <type_traits>
#include <utility>
#include <vector>

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

/// How a kind is written: its word before the colon, the value after it, and its words for people. A kind
/// without a form does not compile.
template <typename Kind>
struct Form;

template <>
struct Form<PidStart> {
    static constexpr std::string_view word = "pid";
    static constexpr std::string_view placeholder = "<number>";
    static std::optional<PidStart> read(std::string_view value) {
        const auto pid = parseDecimal<std::int32_t>(value);
        return pid ? std::optional(PidStart{*pid, std::nullopt}) : std::nullopt;
    }
    static std::string write(const PidStart& start) { return fmt::format("{}", start.pid); }
    static std::string describe(const PidStart& start) { return fmt::format("PID {}", start.pid); }
};

template <>
struct Form<WatchTarget::Command> {
    static constexpr std::string_view word = "cmd";
    static constexpr std::string_view placeholder = "<text>";
    static std::optional<WatchTarget::Command> read(std::string_view value) {
        return WatchTarget::Command{std::string(value)};
    }
    static std::string write(const WatchTarget::Command& command) { return command.pattern; }
    static std::string describe(const WatchTarget::Command& command) {
        return fmt::format("command ~ “{}”", command.pattern);
    }
};

template <>
struct Form<WatchTarget::Port> {
    static constexpr std::string_view word = "port";
    static constexpr std::string_view placeholder = "<number>";
    static std::optional<WatchTarget::Port> read(std::string_view value) {
        return parseDecimal<WatchTarget::Port>(value);
    }
    static std::string write(WatchTarget::Port port) { return fmt::format("{}", port); }
    static std::string describe(WatchTarget::Port port) { return fmt::format("port {}", port); }
};

template <typename Value>
using FormOf = Form<std::decay_t<Value>>;

/// Calls a function with one (empty) pointer for every kind, in their order.
template <typename... Kinds>
void forEachKind(const std::variant<Kinds...>* /*kinds*/, const auto& function) {
    (function(static_cast<const Kinds*>(nullptr)), ...);
}

void forEachKind(const auto& function) {
    forEachKind(static_cast<const WatchTarget::Kind*>(nullptr), function);
}

}  // namespace

std::optional<WatchTarget> WatchTarget::fromSpec(std::string_view spec) {
    const auto parts = partsOf(spec);
    std::optional<WatchTarget> target;
    forEachKind([&]<typename Kind>(const Kind* /*kind*/) {
        if (!parts || parts->kind != Form<Kind>::word) {
            return;
        }
        if (auto read = Form<Kind>::read(parts->value)) {
            target = WatchTarget(std::move(*read));
        }
    });
    return target;
}

std::string WatchTarget::specForms() {
    std::vector<std::string> forms;
    forEachKind([&]<typename Kind>(const Kind* /*kind*/) {
        forms.push_back(fmt::format("{}:{}", Form<Kind>::word, Form<Kind>::placeholder));
    });
    return fmt::format("{}", fmt::join(forms, ", "));
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
    return std::visit(
        [](const auto& kind) {
            return fmt::format("{}:{}", FormOf<decltype(kind)>::word, FormOf<decltype(kind)>::write(kind));
        },
        kind_);
}

std::string WatchTarget::describe() const {
    return std::visit([](const auto& kind) { return FormOf<decltype(kind)>::describe(kind); }, kind_);
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
