#pragma once

#include "BrellinCore/accounts/ClaudeAccount.h"
#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/sessions/SessionRecord.h"
#include "BrellinCore/store/Store.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace brellin {

/// Turns snapshots of the machine into history: refreshes accounts and sessions, keeps the name windows,
/// adds one observation per session, and an event for whatever changed since the store last looked. It
/// keeps nothing between calls; all that it knows of the past comes from the store.
class Reconciler {
  public:
    /// What a caller may know better.
    struct Options {
        /// The verdict on a session, asked once for each.
        std::function<LivenessVerdict(const SessionRecord&)> verdict = [](const SessionRecord& record) {
            return LivenessProbe::verdict(record);
        };
        /// Whether that verdict is to be kept as an observation.
        std::function<bool(const SessionRecord&, const LivenessVerdict&)> isWorthObserving =
            [](const SessionRecord& /*record*/, const LivenessVerdict& /*verdict*/) { return true; };
        /// The ids that are no news; those of them without a record have vanished. Absent: every id that
        /// has a row, watched targets included.
        std::optional<std::set<std::string>> known;
    };

    /// The store must outlive this object.
    explicit Reconciler(Store& store) : store_(store) {}
    Reconciler(Store& store, Options options) : store_(store), options_(std::move(options)) {}

    /// Writes one snapshot. Every session's process is probed once, in the given order.
    ///
    /// @param now milliseconds since the Unix epoch, the time of every row written
    /// @return what changed, sessions in the given order and then those that vanished: "seen:" or
    ///         "undeclared:" and the first 8 characters of a session id, "renamed:" or "reincarnated:" and
    ///         the new name
    /// @throws StoreError the first failed write ends the call; what was written before it stays
    std::vector<std::string> reconcile(const std::vector<SessionRecord>& records,
                                       const std::vector<ClaudeAccount>& accounts, std::int64_t now);

  private:
    void reconcileName(const SessionRecord& record, std::int64_t now, std::vector<std::string>& changes);

    Store& store_;
    Options options_;
};

}  // namespace brellin
