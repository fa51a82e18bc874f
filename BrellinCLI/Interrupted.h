#pragma once

#include <exception>

namespace brellin::cli {

/// SIGINT or SIGTERM asked to stop before the work was done; nothing of it has been written.
class Interrupted : public std::exception {
  public:
    const char* what() const noexcept override { return "interrupted; nothing was written"; }
};

}  // namespace brellin::cli
