#include "BrellinCore/platform/ProcessSetup.h"

#include "BrellinCore/platform/FileSystem.h"

#include <fcntl.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): SIGCHLD and SIGPIPE are POSIX, not C++
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

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

/// On macOS the spawn attributes do this.
void keepDescriptorsFromChildren() {
#ifdef CLOSE_RANGE_CLOEXEC
    if (::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) == 0) {
        return;
    }
#endif
#ifdef __linux__
    // A kernel before 5.11 cannot do it at once.
    for (const std::string& name :
         FileSystem::listDirectory("/proc/self/fd").value_or(std::vector<std::string>())) {
        const int descriptor = std::atoi(name.c_str());
        if (descriptor > STDERR_FILENO) {
            ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        }
    }
#endif
}

}  // namespace

void prepare() {
    ::signal(SIGCHLD, SIG_DFL);
    ::signal(SIGPIPE, SIG_IGN);
    ::umask(S_IRWXG | S_IRWXO);
    openMissingStandardStreams();
    keepDescriptorsFromChildren();
}

void releaseFreedMemory() {
#ifdef __GLIBC__
    ::malloc_trim(0);
#endif
}

}  // namespace brellin::ProcessSetup
