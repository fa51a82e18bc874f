#include "BrellinCore/platform/Clock.h"

#include <chrono>

namespace brellin::Clock {

std::int64_t now() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count();
}

}  // namespace brellin::Clock
