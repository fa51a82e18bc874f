#include "BrellinCLI/views/RelativeTime.h"

#include <fmt/format.h>

#include <algorithm>

namespace brellin::cli {

namespace {

constexpr std::int64_t second = 1000;
constexpr std::int64_t minute = 60 * second;
constexpr std::int64_t hour = 60 * minute;
constexpr std::int64_t day = 24 * hour;

}  // namespace

std::string shortAge(std::int64_t milliseconds) {
    const std::int64_t age = std::max<std::int64_t>(0, milliseconds);
    if (age < minute) {
        return fmt::format("{}s", age / second);
    }
    if (age < hour) {
        return fmt::format("{}m", age / minute);
    }
    return age < 2 * day ? fmt::format("{}h", age / hour) : fmt::format("{}d", age / day);
}

std::string ago(std::int64_t milliseconds) {
    if (milliseconds < -minute) {
        return "in the future";
    }
    if (milliseconds < minute) {
        return "just now";
    }
    if (milliseconds < hour) {
        return fmt::format("{} min ago", milliseconds / minute);
    }
    return milliseconds < 2 * day ? fmt::format("{} h ago", milliseconds / hour)
                                  : fmt::format("{} days ago", milliseconds / day);
}

}  // namespace brellin::cli
