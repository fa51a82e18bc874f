#pragma once

#include "BrellinCLI/facts/Verdicts.h"
#include "BrellinCore/accounts/ClaudeAccount.h"

#include <boost/json/object.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace brellin::cli {

/// The sessions that are declared at this moment, each with its verdict: what a list, a screen and a JSON
/// document show alike.
struct SessionsNow {
    std::vector<ClaudeAccount> accounts;  ///< without identities
    std::vector<JudgedSession> sessions;  ///< account by account, oldest first within each
    std::optional<std::string> failure;   ///< why verdicts that need `ps` are unknown, in words

    /// Scans the user's home with this process's environment. What `failure` says is the caller's to tell.
    ///
    /// @throws Interrupted a stop was requested
    static SessionsNow take(const StopRequest* stop = nullptr);

    /// What people call the account at a path: its label, "?" where there is none.
    std::string_view accountLabel(const std::string& accountPath) const;
};

/// "alive", "stale", "unknown", or "zombie" for a process that has ended and still has its PID.
std::string_view stateWord(const JudgedSession& session);

/// The fields of the record that are present, times also as RFC 3339, "peerRef", "peerAddress",
/// "accountLabel", "isZombie", and "verdict" with "state", "method" and, where there is one, "diagnostic".
boost::json::object toJson(const JudgedSession& session, std::string_view accountLabel);

/// {"accountCount", "sessions": [...]}.
boost::json::object toJson(const SessionsNow& now);

}  // namespace brellin::cli
