#include "BrellinCore/platform/Pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace brellin {

namespace {

/// Moves a descriptor out of the way of the standard streams: where the host handed down fewer than three,
/// a new pipe would get their numbers, and setting up the child would overwrite it.
Descriptor aboveStandardStreams(Descriptor descriptor) {
    if (!descriptor.isOpen() || descriptor.get() > STDERR_FILENO) {
        return descriptor;
    }
    return Descriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

}  // namespace

std::optional<Pipe> Pipe::open() {
    std::array<int, 2> ends{};
#ifdef __APPLE__
    if (::pipe(ends.data()) != 0) {
        return std::nullopt;
    }
    ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
#else
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return std::nullopt;
    }
#endif
    Pipe pipe{aboveStandardStreams(Descriptor(ends[0])), aboveStandardStreams(Descriptor(ends[1]))};
    if (!pipe.readEnd.isOpen() || !pipe.writeEnd.isOpen()) {
        return std::nullopt;
    }
    return pipe;
}

}  // namespace brellin
