#include "BrellinCLI/facts/health/Finding.h"

#include "BrellinCore/text/Duration.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace brellin::cli {

std::string shellQuoted(std::string_view text) {
    std::string word = "'";
    for (const char character : text) {
        word += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return word + "'";
}

std::string counted(std::int64_t number, std::string_view noun) {
    return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
}

std::string timeSince(std::int64_t time, std::int64_t now) {
    using std::chrono::floor;
    const std::chrono::milliseconds length(std::max<std::int64_t>(0, now - time));
    if (length < std::chrono::hours(1)) {
        return Duration::describe(floor<std::chrono::seconds>(length)) + " ago";
    }
    return length < std::chrono::hours(48)
               ? Duration::describe(floor<std::chrono::minutes>(length)) + " ago"
               : Duration::describe(floor<std::chrono::days>(length)) + " ago";
}

}  // namespace brellin::cli
