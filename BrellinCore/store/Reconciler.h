#pragma once

#include "BrellinCore/accounts/ClaudeAccount.h"
#include "BrellinCore/sessions/SessionRecord.h"
#include "BrellinCore/store/Store.h"

#include <cstdint>
#include <string>
#include <vector>

namespace brellin {

/// Turns snapshots of the machine into history: refreshes accounts and sessions, keeps the name windows,
/// adds one observation per session, and an event for whatever changed since the store last looked. It
/// keeps nothing between calls; all that it knows of the past comes from the store.
class Reconciler {
  public:
    /// The store must outlive this object.
    explicit Reconciler(Store& store) : store_(store) {}

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
};

}  // namespace brellin
