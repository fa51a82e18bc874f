#pragma once

#include "BrellinCore/accounts/AccountScanner.h"
#include "BrellinCore/sessions/SessionRecord.h"

#include <string_view>
#include <vector>

namespace brellin {

/// The accounts of this machine and the sessions that they declare, as the disk has them at one moment.
struct Snapshot {
    AccountScan scan;
    std::vector<SessionRecord> sessions;  ///< account by account, oldest first within each

    /// Scans the user's home with this process's environment and reads every account's registry.
    static Snapshot take(AccountScanner::Identities identities = AccountScanner::Identities::leave);

    /// The label of the account at a path, "?" when the scan has none there.
    std::string_view accountLabel(std::string_view accountPath) const;

    /// The first session whose id begins with `prefix`; nullptr when there is none.
    const SessionRecord* sessionWithIdPrefix(std::string_view prefix) const;
};

}  // namespace brellin
