#pragma once

#include "BrellinCore/platform/StopRequest.h"
#include "BrellinCore/sessions/Liveness.h"
#include "BrellinCore/sessions/SessionRecord.h"

#include <optional>
#include <string>
#include <vector>

namespace brellin::cli {

/// A declared session and what is known of its process.
struct JudgedSession {
    SessionRecord record;
    LivenessVerdict verdict;
    bool isZombie = false;  ///< the process has ended, and its parent has not asked about it yet
};

/// The verdicts on many sessions by one run of `ps`, in a fixed locale and zone. It has ten seconds.
struct Verdicts {
    std::vector<JudgedSession> sessions;  ///< in the given order
    std::optional<std::string> failure;   ///< why verdicts that need `ps` are unknown, in words

    /// @param stop asked while `ps` runs; nullptr where nobody can ask
    /// @throws Interrupted a stop was requested
    static Verdicts on(std::vector<SessionRecord> records, const StopRequest* stop);
};

}  // namespace brellin::cli
