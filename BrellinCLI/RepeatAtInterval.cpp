#include "BrellinCLI/RepeatAtInterval.h"

#include "BrellinCLI/Interrupted.h"

namespace brellin::cli {

namespace {

void reportFailureOf(const std::function<void()>& round) {
    try {
        round();
    } catch (const ReaderGone&) {
        throw;
    } catch (const PermanentError&) {
        throw;
    } catch (const Interrupted&) {
        return;  // the stop that ends the repetition
    } catch (const std::exception& failure) {
        printError(failure.what());
    }
}

}  // namespace

void repeatAtInterval(const StopRequest& stop, std::optional<std::chrono::milliseconds> every,
                      const std::function<void()>& round) {
    if (!every) {
        round();
        return;
    }
    do {
        reportFailureOf(round);
    } while (!stop.arrivesWithin(*every));
}

}  // namespace brellin::cli
