#include "BrellinCore/platform/ProcessSetup.h"

#include <fcntl.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): SIGCHLD and SIGPIPE are POSIX, not C++
#include <unistd.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace brellin::ProcessSetup {

namespace {

void openMissingStandardStreams() {
    int lowestFree = ::open("/dev/null", O_RDWR);
    while (lowestFree >= 0 && lowestFree < STDERR_FILENO) {
        lowestFree = ::dup(lowestFree);
    }
    if (lowestFree > STDERR_FILENO) {
        ::close(lowestFree);
    }
}

}  // namespace

void prepare() {
    ::signal(SIGCHLD, SIG_DFL);
    ::signal(SIGPIPE, SIG_IGN);
    openMissingStandardStreams();
#ifdef CLOSE_RANGE_CLOEXEC
    // Elsewhere the spawn attributes do the same (macOS); an old kernel refuses, and nothing is lost.
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
#endif
}

void releaseFreedMemory() {
#ifdef __GLIBC__
    ::malloc_trim(0);
#endif
}

}  // namespace brellin::ProcessSetup
