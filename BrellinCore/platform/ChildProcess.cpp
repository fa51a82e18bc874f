#include "BrellinCore/platform/ChildProcess.h"

#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/platform/Pipe.h"
#include "BrellinCore/platform/Spawn.h"
#include "BrellinCore/platform/StopRequest.h"

#include <poll.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): kill is POSIX, not C++
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <thread>
#include <utility>

namespace brellin::ChildProcess {

namespace {

std::optional<std::chrono::milliseconds> limitOfRuns;

using std::chrono::milliseconds;

/// How long to wait for a child: to its limit, but after a stop for two seconds at most.
class Patience {
  public:
    Patience(milliseconds limit, const StopRequest* stop)
        : stop_(stop),
          end_(std::chrono::steady_clock::now() + std::clamp(limit, milliseconds(0), longest)) {}

    /// Whether the time is up. This is also where an arrived stop is noticed.
    bool isOver() {
        const auto now = std::chrono::steady_clock::now();
        if (!hasStopped_ && stop_ != nullptr && stop_->hasArrived()) {
            hasStopped_ = true;
            end_ = std::min(end_, now + afterStop);
        }
        return now >= end_;
    }
    bool hasStopped() const { return hasStopped_; }
    /// -1 when there is no stop to wait for any more.
    int stopDescriptor() const { return stop_ == nullptr || hasStopped_ ? -1 : stop_->descriptor(); }
    milliseconds left() const {
        return std::chrono::ceil<milliseconds>(end_ - std::chrono::steady_clock::now());
    }

  private:
    static constexpr milliseconds longest =
        std::chrono::hours(24);  // as many milliseconds as poll can take
    static constexpr milliseconds afterStop = std::chrono::seconds(2);

    const StopRequest* stop_;
    std::chrono::steady_clock::time_point end_;
    bool hasStopped_ = false;
};

/// Waits until there is something to read, or the end of it; false when the time is up first.
bool isReadable(const Descriptor& source, Patience& patience) {
    while (!patience.isOver()) {
        std::array<pollfd, 2> waiting = {
            {{source.get(), POLLIN, 0}, {patience.stopDescriptor(), POLLIN, 0}}};
        const auto timeout = static_cast<int>(std::max(patience.left(), milliseconds(0)).count());
        if (::poll(waiting.data(), waiting.size(), timeout) > 0 && waiting[0].revents != 0) {
            return true;
        }
    }
    return false;
}

enum class Reading { complete, failed, outOfTime };

/// @param patience nullptr: without a limit
Reading readToEnd(const Descriptor& source, std::string& output, Patience* patience) {
    constexpr std::size_t pieceSize = 4096;
    std::size_t filled = 0;
    Reading reading = Reading::outOfTime;
    while (patience == nullptr || isReadable(source, *patience)) {
        if (output.size() - filled < pieceSize) {
            output.resize(std::max(pieceSize, output.size() * 2));
        }
        const auto count = source.readSome(output.data() + filled, output.size() - filled);
        filled += count.value_or(0);
        if (!count || *count == 0) {
            reading = count ? Reading::complete : Reading::failed;
            break;
        }
    }
    output.resize(filled);
    return reading;
}

/// How a child ended; both are absent when its status was lost.
struct Ended {
    std::optional<int> status;
    bool bySignal = false;
};

/// Waits for a child; with WNOHANG nullopt means that it still runs.
std::optional<Ended> reap(pid_t pid, int options) {
    int status = 0;
    pid_t found = 0;
    do {
        found = ::waitpid(pid, &status, options);
    } while (found < 0 && errno == EINTR);
    if (found <= 0) {
        return found == 0 ? std::nullopt : std::optional(Ended{});
    }
    return WIFEXITED(status) ? Ended{WEXITSTATUS(status), false} : Ended{std::nullopt, true};
}

/// nullopt when the time is up first. A child's output ends moments before the child does, so the first
/// looks follow each other closely; no call that all systems have waits for a child and a time.
std::optional<Ended> reapInTime(pid_t pid, Patience& patience) {
    constexpr std::chrono::microseconds longestPause = milliseconds(50);
    std::chrono::microseconds pause(50);
    for (;;) {
        if (const auto ended = reap(pid, WNOHANG)) {
            return ended;
        }
        if (patience.isOver()) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, longestPause);
    }
}

/// Children that even SIGKILL did not end in time: one that hangs in the kernel, in a read from a lost file
/// server for example, ends when that does.
std::vector<pid_t>& leftBehind() {
    static std::vector<pid_t> children;
    return children;
}

void killGroup(pid_t pid) {
    ::kill(-pid, SIGKILL);
    Patience patience(std::chrono::seconds(1), nullptr);
    if (!reapInTime(pid, patience)) {
        leftBehind().push_back(pid);
    }
}

std::optional<SupervisedResult> superviseOnce(const char* executable,
                                              const std::vector<std::string>& arguments,
                                              const Environment& variables, Patience& patience) {
    auto pipe = Pipe::open();
    if (!pipe) {
        return std::nullopt;
    }
    const auto pid = spawn(executable, arguments, variables, pipe->writeEnd);
    pipe->writeEnd.close();
    if (!pid) {
        return std::nullopt;
    }
    Result result;
    const Reading reading = readToEnd(pipe->readEnd, result.output, &patience);
    const auto ended = reading == Reading::complete ? reapInTime(*pid, patience) : std::nullopt;
    if (!ended) {
        killGroup(*pid);
    }
    if (reading == Reading::failed) {
        return std::nullopt;
    }
    if (ended && !ended->bySignal) {
        result.exitStatus = ended->status;
        return SupervisedResult{Ending::exited, std::move(result)};
    }
    patience.isOver();  // a stop may have come with the signal that ended the child
    const Ending cut = ended ? Ending::signalled : Ending::timedOut;
    return SupervisedResult{patience.hasStopped() ? Ending::stopped : cut, std::move(result)};
}

}  // namespace

void limitRuns(std::chrono::milliseconds limit) {
    limitOfRuns = limit;
}

std::optional<Result> run(const char* executable, const std::vector<std::string>& arguments) {
    if (limitOfRuns) {
        auto supervised = supervise(executable, arguments, {.limit = *limitOfRuns});
        return supervised && supervised->ending == Ending::exited
                   ? std::optional(std::move(supervised->result))
                   : std::nullopt;
    }
    auto pipe = Pipe::open();
    if (!pipe) {
        return std::nullopt;
    }
    const auto pid = spawn(executable, arguments, {}, pipe->writeEnd);
    pipe->writeEnd.close();
    if (!pid) {
        return std::nullopt;
    }
    Result result;
    const Reading reading = readToEnd(pipe->readEnd, result.output, nullptr);
    pipe->readEnd.close();
    result.exitStatus = reap(*pid, 0).value_or(Ended{}).status;
    return reading == Reading::complete ? std::optional(std::move(result)) : std::nullopt;
}

std::optional<SupervisedResult> supervise(const char* executable, const std::vector<std::string>& arguments,
                                          const Supervision& supervision) {
    std::erase_if(leftBehind(), [](pid_t pid) { return reap(pid, WNOHANG).has_value(); });
    Patience patience(supervision.limit, supervision.stop);
    auto result = superviseOnce(executable, arguments, supervision.variables, patience);
    if (result && result->ending == Ending::signalled) {
        result = superviseOnce(executable, arguments, supervision.variables, patience);
    }
    return result;
}

}  // namespace brellin::ChildProcess
