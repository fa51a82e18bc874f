#pragma once

#include "BrellinCLI/facts/SessionsNow.h"

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace brellin::cli {

/// What differs between one look at the sessions and the next.
class SessionChanges {
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// Compares with the look before. At the first look nothing has changed.
    void note(const SessionsNow& now, Time time);

    /// When its state, name, address or status last changed, or it came; Time::min() when it never did.
    Time changedAt(const JudgedSession& session) const;

    /// Those that were there at the look before and are not at this one.
    const std::vector<JudgedSession>& left() const { return left_; }

    /// What stands for a session from look to look: its account, id and PID.
    static std::string keyOf(const JudgedSession& session);

  private:
    struct Known {
        JudgedSession session;
        Time changedAt;
    };
    std::map<std::string, Known> known_;
    std::vector<JudgedSession> left_;
    bool hasLooked_ = false;
};

}  // namespace brellin::cli
