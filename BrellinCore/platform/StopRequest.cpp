#include "BrellinCore/platform/StopRequest.h"

#include "BrellinCore/platform/Pipe.h"

#include <poll.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): sigaction is POSIX, not C++
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <utility>

namespace brellin {

namespace {

// A signal handler can reach nothing but globals. It sets the flag and writes one byte; whoever waits polls
// the other end.
volatile std::sig_atomic_t hasStopArrived = 0;
Descriptor pipeReadEnd;
Descriptor pipeWriteEnd;

void noteRequest(int /*signal*/) {
    if (hasStopArrived != 0) {
        return;  // one byte is enough, and a pipe full of them would block
    }
    hasStopArrived = 1;
    const int kept = errno;
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = ::write(pipeWriteEnd.get(), &byte, 1);
    errno = kept;
}

void handleStopSignals(void (*handler)(int), StopRequest::AtHangUp atHangUp) {
    struct sigaction action {};
    action.sa_handler = handler;
    // A second signal ends the process at once, for whoever cannot wait any longer.
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    ::sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    if (atHangUp == StopRequest::AtHangUp::stop) {
        ::sigaction(SIGHUP, &action, nullptr);
    }
}

}  // namespace

StopRequest::StopRequest(AtHangUp atHangUp) : atHangUp_(atHangUp) {
    hasStopArrived = 0;
    if (auto pipe = Pipe::open()) {
        pipeReadEnd = std::move(pipe->readEnd);
        pipeWriteEnd = std::move(pipe->writeEnd);
    }
    handleStopSignals(noteRequest, atHangUp_);
}

StopRequest::~StopRequest() {
    handleStopSignals(SIG_DFL, atHangUp_);
    pipeReadEnd.close();
    pipeWriteEnd.close();
}

bool StopRequest::hasArrived() const {
    return hasStopArrived != 0;
}

int StopRequest::descriptor() const {
    return pipeReadEnd.get();
}

bool StopRequest::arrivesWithin(std::chrono::milliseconds duration) const {
    using std::chrono::milliseconds;
    const auto end = std::chrono::steady_clock::now() + duration;
    // Without a pipe, a signal just before the wait would go unnoticed until its end.
    const milliseconds longestWait(pipeReadEnd.isOpen() ? INT_MAX : 100);
    while (!hasArrived()) {
        const auto left = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return false;
        }
        pollfd waiting{pipeReadEnd.get(), POLLIN, 0};
        ::poll(&waiting, 1, static_cast<int>(std::min(left, longestWait).count()));
    }
    return true;
}

}  // namespace brellin
