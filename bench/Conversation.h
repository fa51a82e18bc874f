#pragma once

#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/platform/Environment.h"

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace brellin::bench {

/// A running program that answers lines by lines. It ends with this object, by the end of its input.
class Conversation {
  public:
    /// @throws std::runtime_error the program cannot be started
    Conversation(const std::vector<std::string>& command, const Environment& environment);
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;
    ~Conversation();

    /// Sends one line, or several at once (each with its line feed), and reads as many replies. What is
    /// sent and what comes back must fit a pipe, unless it is a single line.
    ///
    /// @return the replies, valid until the next call
    /// @throws std::runtime_error the program ended before it had answered
    std::string_view ask(std::string_view lines, std::size_t count = 1);

    /// The same for lines whose replies have that size together, but reads them only when all are there.
    /// A reader that is woken for every reply costs the program more than the reply does, or nothing at
    /// all, as the scheduler places the two.
    std::string_view askUndisturbed(std::string_view lines, std::size_t replySize);

    /// Memory that the program has in use at the moment, in kilobytes.
    long residentKilobytes() const;

  private:
    std::size_t waitingBytes() const;

    Descriptor toProgram_;
    Descriptor fromProgram_;
    pid_t pid_ = 0;
    std::vector<char> replies_;
};

}  // namespace brellin::bench
