#pragma once

#include "BrellinCore/store/Store.h"
#include "BrellinCore/watch/TargetProbe.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace brellin {

/// Writes what a probe saw of a target into the history: an observation each time, and when the occupant
/// changed, the end of one name window, the start of the next, and one event. In the store a target is an
/// entity under its key; its open window says who holds it.
class TargetReconciler {
  public:
    /// What a target's row has before its description in place of an account's path.
    static constexpr std::string_view labelPrefix = "watch:";

    /// Whether a verdict is to be kept as an observation.
    using IsWorthObserving = std::function<bool(const TargetVerdict&)>;

    /// The store must outlive this object.
    explicit TargetReconciler(
        Store& store,
        IsWorthObserving isWorthObserving = [](const TargetVerdict& /*verdict*/) { return true; })
        : store_(store), isWorthObserving_(std::move(isWorthObserving)) {}

    /// @param now milliseconds since the Unix epoch, the time of every row written
    /// @return empty when nothing changed, otherwise "occupied:", "vacated:" or "reoccupied:" and the key
    /// @throws StoreError the first failed write ends the call; what was written before it stays
    std::vector<std::string> reconcile(const TargetVerdict& verdict, std::int64_t now);

  private:
    std::vector<std::string> vacate(const WatchTarget& target, std::int64_t now);
    std::vector<std::string> occupy(const WatchTarget& target, const ProcessSnapshot& occupant,
                                    std::int64_t now);

    Store& store_;
    IsWorthObserving isWorthObserving_;
};

}  // namespace brellin
