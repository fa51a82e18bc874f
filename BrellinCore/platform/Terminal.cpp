#include "BrellinCore/platform/Terminal.h"

#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>

namespace brellin::Terminal {

bool isInteractive() {
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1;
}

Size size() {
    winsize window{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) != 0) {
        return {};
    }
    return {window.ws_row, window.ws_col};
}

bool hasInputWithin(std::chrono::milliseconds duration, const StopRequest& stop) {
    // select, since poll on macOS knows no terminals.
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(STDIN_FILENO, &readable);
    const bool canWaitForStop = stop.descriptor() >= 0 && stop.descriptor() < FD_SETSIZE;
    if (canWaitForStop) {
        FD_SET(stop.descriptor(), &readable);
    }
    // Without the pipe, a stop just before the wait would go unnoticed until its end.
    const std::chrono::milliseconds longest(canWaitForStop ? 3'600'000 : 100);
    const auto wait = std::clamp(duration, std::chrono::milliseconds::zero(), longest);
    timeval limit{};
    limit.tv_sec = static_cast<decltype(limit.tv_sec)>(wait.count() / 1000);
    limit.tv_usec = static_cast<decltype(limit.tv_usec)>(wait.count() % 1000 * 1000);
    const int descriptors = std::max(STDIN_FILENO, canWaitForStop ? stop.descriptor() : 0) + 1;
    return ::select(descriptors, &readable, nullptr, nullptr, &limit) > 0 &&
           FD_ISSET(STDIN_FILENO, &readable);
}

}  // namespace brellin::Terminal
