#pragma once

#include <chrono>

namespace brellin {

/// Lets a program that repeats itself end at a moment of its own choosing: SIGINT and SIGTERM are noted
/// instead of ending the process. One object at a time.
class StopRequest {
  public:
    StopRequest();
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;
    ~StopRequest();

    /// Waits for that long, or until a stop is requested; true when it was. The time of day does not
    /// matter: setting the clock neither shortens nor lengthens the wait.
    bool arrivesWithin(std::chrono::milliseconds duration) const;
};

}  // namespace brellin
