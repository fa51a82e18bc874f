#pragma once

#include "BrellinCore/platform/Descriptor.h"

#include <optional>

namespace brellin {

/// The two ends of a pipe, both closed on exec and neither with the number of a standard stream.
struct Pipe {
    Descriptor readEnd;
    Descriptor writeEnd;

    /// nullopt when no descriptors are left.
    static std::optional<Pipe> open();
};

}  // namespace brellin
