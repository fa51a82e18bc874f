#include "BrellinCore/sessions/SessionRecord.h"

#include "BrellinCore/platform/Sha256.h"

#include <fmt/format.h>

namespace brellin {

std::optional<std::string> SessionRecord::peerRef() const {
    if (!socketPath) {
        return std::nullopt;
    }
    const auto digest = sha256("session:" + *socketPath);
    return fmt::format("{:02x}{:02x}{:02x}", digest[0], digest[1], digest[2]);
}

std::optional<std::string> SessionRecord::peerAddress() const {
    auto ref = name ? peerRef() : std::nullopt;
    return ref ? std::optional(*name + " [" + *ref + "]") : std::nullopt;
}

}  // namespace brellin
