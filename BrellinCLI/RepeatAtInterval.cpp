#include "BrellinCLI/RepeatAtInterval.h"

#include "BrellinCore/platform/StopRequest.h"

#include <algorithm>
#include <chrono>

namespace brellin::cli {

namespace {

void reportFailureOf(const std::function<void()>& round) {
    try {
        round();
    } catch (const ReaderGone&) {
        throw;
    } catch (const PermanentError&) {
        throw;
    } catch (const std::exception& failure) {
        printError(failure.what());
    }
}

}  // namespace

void repeatAtInterval(std::optional<double> every, const std::function<void()>& round) {
    if (!every) {
        round();
        return;
    }
    constexpr double longestPause = 1e9;  // some thirty years, well within what a clock can count
    const std::chrono::duration<double> pause(std::min(*every, longestPause));
    const StopRequest stop;
    do {
        reportFailureOf(round);
    } while (!stop.arrivesWithin(std::chrono::duration_cast<std::chrono::milliseconds>(pause)));
}

}  // namespace brellin::cli
