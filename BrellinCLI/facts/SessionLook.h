#pragma once

#include "BrellinCore/platform/StopRequest.h"
#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/store/Chronicle.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace brellin::cli {

/// Looks at the machine for the recorder: which sessions are declared, and whether each is alive, with one
/// run of `ps` for all of them. What is missing or cannot be understood is looked at again before it
/// counts, since a file may just be written. What somebody should know is printed on standard error, once.
class SessionLook {
  public:
    /// The stop request must outlive this object.
    explicit SessionLook(const StopRequest& stop) : stop_(stop) {}

    /// Ids, each with the path of its account.
    using DeclaredSessions = std::map<std::string, std::string>;

    /// @param expected what was declared when somebody looked last
    /// @return what is to be written, but for the time
    /// @throws Interrupted a stop was requested
    Chronicle::Round take(const DeclaredSessions& expected);

  private:
    /// What one look finds, without verdicts.
    struct Sight {
        Chronicle::Round round;
        std::vector<SessionRecord> records;
        std::set<std::string> filesWithoutOne;
    };

    Sight lookAgainWhileTorn(const DeclaredSessions& expected);
    static Sight look();
    bool isWhole(const Sight& sight, const DeclaredSessions& expected) const;
    std::vector<Chronicle::Session> verdictsOn(std::vector<SessionRecord> records);
    std::vector<Chronicle::Session> onePerId(std::vector<Chronicle::Session> sessions);
    void tell(const std::string& text);

    const StopRequest& stop_;
    std::set<std::string> knownNonSessions_;  ///< files that an earlier round gave up on
    std::set<std::string> told_;
};

}  // namespace brellin::cli
