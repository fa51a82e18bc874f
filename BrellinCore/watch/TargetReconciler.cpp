#include "BrellinCore/watch/TargetReconciler.h"

#include <fmt/format.h>

namespace brellin {

namespace {

constexpr const char* measured = "measured";
constexpr const char* observed = "observed";

}  // namespace

std::vector<std::string> TargetReconciler::reconcile(const TargetVerdict& verdict, std::int64_t now) {
    const std::string key = verdict.target.key();
    const ProcessSnapshot* primary = verdict.primaryOccupant();
    store_.ensureEntity(key, fmt::format("{}{}", labelPrefix, verdict.target.describe()), now);
    if (isWorthObserving_(verdict)) {
        store_.appendObservation(key, primary == nullptr ? 0 : primary->pid,
                                 {verdict.state, verdict.method, std::nullopt}, std::nullopt, now);
    }
    if (verdict.state == Liveness::stale) {
        return vacate(verdict.target, now);
    }
    if (verdict.state == Liveness::alive && primary != nullptr) {
        return occupy(verdict.target, *primary, now);
    }
    return {};
}

std::vector<std::string> TargetReconciler::vacate(const WatchTarget& target, std::int64_t now) {
    const std::string key = target.key();
    if (!store_.currentName(key)) {
        return {};
    }
    store_.closeName(key, now);
    store_.appendEvent(key, "vacated", target.describe() + ": nobody holds it any more", observed, now);
    return {"vacated:" + key};
}

std::vector<std::string> TargetReconciler::occupy(const WatchTarget& target,
                                                  const ProcessSnapshot& occupant, std::int64_t now) {
    const std::string key = target.key();
    const std::string ref = occupant.occupantRef();
    const auto holder = store_.currentName(key);
    if (holder && holder->ref == ref) {
        return {};
    }
    if (!holder) {
        store_.openName(key, occupant.command, ref, measured, now);
        store_.appendEvent(key, "occupied",
                           fmt::format("{}: held by {} [{}]", target.describe(), occupant.command, ref),
                           observed, now);
        return {"occupied:" + key};
    }
    store_.closeName(key, now);
    store_.appendEvent(
        key, "reoccupied",
        fmt::format("{}: {} [{}] → {} [{}] · a new process, not who it was", target.describe(),
                    holder->name, holder->ref.value_or("?"), occupant.command, ref),
        observed, now);
    store_.openName(key, occupant.command, ref, measured, now);
    return {"reoccupied:" + key};
}

}  // namespace brellin
