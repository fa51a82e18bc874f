#include "BrellinCore/reports/ReportText.h"

namespace brellin {

std::string_view glyph(Liveness state) {
    switch (state) {
        case Liveness::alive:
            return "●";
        case Liveness::stale:
            return "✕";
        case Liveness::unknown:
            break;
    }
    return "?";
}

}  // namespace brellin
