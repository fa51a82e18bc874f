#pragma once

#include <chrono>

namespace brellin {

/// Lets a program that repeats itself end at a moment of its own choosing: SIGINT and SIGTERM are noted
/// instead of ending the process. One object at a time.
class StopRequest {
  public:
    /// What the end of the terminal (SIGHUP) means. As it was: it ends the process unless a parent, such as
    /// nohup, had it ignored.
    enum class AtHangUp { asItWas, stop };

    explicit StopRequest(AtHangUp atHangUp = AtHangUp::asItWas);
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;
    ~StopRequest();

    /// Waits for that long, or until a stop is requested; true when it was. The time of day does not
    /// matter: setting the clock neither shortens nor lengthens the wait.
    bool arrivesWithin(std::chrono::milliseconds duration) const;

    /// Whether a stop has been requested since this object was made.
    bool hasArrived() const;

    /// For polling within platform/: readable once a stop has been requested. -1 when there is none; then
    /// only hasArrived tells.
    int descriptor() const;

  private:
    AtHangUp atHangUp_;
};

}  // namespace brellin
