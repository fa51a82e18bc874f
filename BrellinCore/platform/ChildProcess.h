#pragma once

#include "BrellinCore/platform/Environment.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace brellin {

class StopRequest;

/// Short-lived helper programs.
namespace ChildProcess {

struct Result {
    std::optional<int> exitStatus;  ///< absent when a signal ended the child or its status was lost
    std::string output;             ///< everything it wrote to standard output, as bytes

    friend bool operator==(const Result&, const Result&) = default;
};

/// Runs an executable by absolute path, without a shell, and waits for it.
///
/// The child inherits standard input and the environment; its standard error goes to the null device (where
/// there is none it is closed); no other descriptor of this process reaches it, and signals that this
/// process handles its own way are back at their defaults. Its output is read to the end before its exit is
/// waited for. There is no time-out.
///
/// @return nullopt when the child could not be started or its output could not be read
std::optional<Result> run(const char* executable, const std::vector<std::string>& arguments);

/// Lets every later `run` of this process end after that time, as one that could not be started: for
/// programs that answer people, who would rather know that nothing was measured than wait.
void limitRuns(std::chrono::milliseconds limit);

/// What runs a program for a caller that leaves it to somebody else how: `run`, or a supervised run.
using Runner =
    std::function<std::optional<Result>(const char* executable, const std::vector<std::string>& arguments)>;

struct Supervision {
    std::chrono::milliseconds limit{10'000};  ///< from the start to the end, a day at most
    const StopRequest* stop = nullptr;        ///< once it has arrived, two seconds are left at most
    Environment variables;                    ///< set in the child, on top of the inherited environment
};

enum class Ending {
    exited,     ///< by itself, in time
    signalled,  ///< a signal that did not come from here ended it, twice
    timedOut,   ///< it was killed at its limit
    stopped     ///< the stop arrived, and it was killed or a signal ended it
};

struct SupervisedResult {
    Ending ending = Ending::exited;
    Result result;  ///< unless it exited: what was read of its output, which may be cut anywhere, and no
                    ///< status

    friend bool operator==(const SupervisedResult&, const SupervisedResult&) = default;
};

/// `run` with a limit. The child has ended in time when it has exited and its output has ended; otherwise
/// its process group is killed, so that nothing which it started stays behind.
///
/// A child that a signal ended is started once more, in what is left of its time, unless a stop has
/// arrived: a service manager or a terminal signals every process that it finds, and what that cut short is
/// no answer.
///
/// @return nullopt as for `run`
std::optional<SupervisedResult> supervise(const char* executable, const std::vector<std::string>& arguments,
                                          const Supervision& supervision);

}  // namespace ChildProcess

}  // namespace brellin
