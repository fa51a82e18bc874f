#include "BrellinCore/sessions/Liveness.h"

namespace brellin {

std::string_view rawValue(Liveness liveness) {
    switch (liveness) {
        case Liveness::alive:
            return "alive";
        case Liveness::stale:
            return "stale";
        case Liveness::unknown:
            return "unknown";
    }
    return {};
}

std::optional<Liveness> livenessFromRaw(std::string_view text) {
    for (const Liveness liveness : {Liveness::alive, Liveness::stale, Liveness::unknown}) {
        if (rawValue(liveness) == text) {
            return liveness;
        }
    }
    return std::nullopt;
}

}  // namespace brellin
