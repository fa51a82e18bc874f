#pragma once

#include <optional>
#include <string>
#include <vector>

namespace brellin {

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

}  // namespace ChildProcess

}  // namespace brellin
