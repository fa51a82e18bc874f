#include "BrellinCore/platform/StopRequest.h"

#include "BrellinCore/platform/Pipe.h"

#include <poll.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): sigaction is POSIX, not C++
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>

namespace brellin {

namespace {

// A signal handler can reach nothing but globals. It writes one byte; whoever waits polls the other end.
Descriptor pipeReadEnd;
Descriptor pipeWriteEnd;

void noteRequest(int /*signal*/) {
    const int kept = errno;
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = ::write(pipeWriteEnd.get(), &byte, 1);
    errno = kept;
}

void handleStopSignals(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

}  // namespace

StopRequest::StopRequest() {
    if (auto pipe = Pipe::open()) {
        pipeReadEnd = std::move(pipe->readEnd);
        pipeWriteEnd = std::move(pipe->writeEnd);
        handleStopSignals(noteRequest);
    }
}

StopRequest::~StopRequest() {
    handleStopSignals(SIG_DFL);
    pipeReadEnd.close();
    pipeWriteEnd.close();
}

bool StopRequest::arrivesWithin(std::chrono::milliseconds duration) const {
    const auto end = std::chrono::steady_clock::now() + duration;
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd waiting{pipeReadEnd.get(), POLLIN, 0};
        const int timeout = static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
        const int ready = ::poll(&waiting, 1, timeout);
        if (ready > 0) {
            return true;
        }
        if (ready == 0 && left.count() <= INT_MAX) {
            return false;
        }
    }
}

}  // namespace brellin
