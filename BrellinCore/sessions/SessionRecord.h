#pragma once

#include "BrellinCore/sessions/Liveness.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace brellin {

/// One session as it declares itself in a file of its account's `sessions` directory. Behind each field
/// stands the file's key; a required key that is missing drops the file, an optional one leaves its field
/// absent. Empty strings are present values.
struct SessionRecord {
    std::string sessionId;                    ///< "sessionId", required: the stable identity
    std::int32_t pid = 0;                     ///< "pid", required
    std::string accountPath;                  ///< the account the file was found under
    std::optional<std::string> cwd;           ///< "cwd": the working directory
    std::int64_t startedAt = 0;               ///< "startedAt", required: milliseconds since the Unix epoch
    std::optional<std::string> procStartRaw;  ///< "procStart": the baseline of the liveness probe, UTC
    std::optional<std::string> socketPath;    ///< "messagingSocketPath"
    std::optional<std::string> name;          ///< "name": what the session is called now
    std::optional<std::string> nameSource;    ///< "nameSource": who set the name, carried unchanged
    std::optional<std::int64_t> nameSince;    ///< "nameSince", carried unchanged
    std::optional<std::string> reportedStatus;  ///< "status": what the session says about itself
    std::optional<std::string> version;         ///< "version"

    static constexpr std::size_t peerRefLength = 6;

    /// The short address: the first 6 hexadecimal digits of SHA-256 over "session:" and the socket path. A
    /// new process has a new socket, so it has another one. Absent without a socket path.
    std::optional<std::string> peerRef() const;

    /// The address others send to, "<name> [<peerRef>]". Absent without a name or a socket path.
    std::optional<std::string> peerAddress() const;

    friend bool operator==(const SessionRecord&, const SessionRecord&) = default;
};
static_assert(LivenessTarget<SessionRecord>);

}  // namespace brellin
