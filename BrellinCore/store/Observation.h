#pragma once

#include "BrellinCore/sessions/Liveness.h"
#include "BrellinCore/store/Database.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace brellin {

/// What one look at a session, or at the holder of a watched target, finds out.
struct Observation {
    std::int32_t pid = 0;
    std::string liveness;  ///< the state's raw value
    std::string method;
    std::optional<std::string> reportedStatus;

    friend bool operator==(const Observation&, const Observation&) = default;
};

/// The last observation that the history holds of somebody.
struct LastObservation {
    Observation observation;
    std::int64_t at = 0;  ///< milliseconds since the Unix epoch

    /// An observation that says what the last one says is kept once an hour: often enough to know that
    /// somebody looked.
    static constexpr std::int64_t repetitionMilliseconds = 60LL * 60 * 1000;

    /// Whether what is observed now is to be kept.
    bool isOutdatedBy(const Observation& next, std::int64_t now) const {
        return now - at >= repetitionMilliseconds || observation != next;
    }

    /// Of a session, or of a target by its key; what is later than `now`, because the clock was set back,
    /// does not count.
    ///
    /// @throws StoreError the history could not be read
    static std::optional<LastObservation> of(const Database& history, const std::string& id,
                                             std::int64_t now);

    /// Of every session that the last round found.
    ///
    /// @throws StoreError the history could not be read
    static std::map<std::string, LastObservation> ofDeclared(const Database& history, std::int64_t now);
};

}  // namespace brellin
