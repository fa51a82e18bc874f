#pragma once

#include "BrellinCore/platform/Environment.h"

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace brellin::world {

/// What a program did with the input it was given.
struct ProgramRun {
    std::string output;
    std::string errors;
    int exitStatus = -1;  ///< -1 when a signal ended it
};

/// Runs a program to its end with a small environment of its own (PATH and what is given).
ProgramRun runProgram(const std::vector<std::string>& command, const Environment& environment = {},
                      std::string_view input = {});

/// When a process started, as `ps` says it in a time zone, with single spaces.
std::string startOf(pid_t pid, const std::string& zone = "UTC");

/// A child process that lives as long as this object, or until somebody waits for its end.
class LiveProcess {
  public:
    explicit LiveProcess(const std::vector<std::string>& command = {"/bin/sleep", "1000"},
                         const Environment& environment = {});
    LiveProcess(const LiveProcess&) = delete;
    LiveProcess& operator=(const LiveProcess&) = delete;
    ~LiveProcess();

    pid_t pid() const { return pid_; }
    /// Waits for its end: its exit status, -1 when a signal ended it.
    int wait();

  private:
    pid_t pid_;
    bool hasEnded_ = false;
};

}  // namespace brellin::world
