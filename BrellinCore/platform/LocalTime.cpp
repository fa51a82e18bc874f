#include "BrellinCore/platform/LocalTime.h"

#include <time.h>  // NOLINT(modernize-deprecated-headers): tzset and localtime_r are POSIX, not C++

namespace brellin::LocalTime {

std::int64_t utcOffset(std::int64_t secondsSinceEpoch) {
    // localtime_r alone would keep the zone of the first call, and a server lives for weeks.
    ::tzset();
    const auto seconds = static_cast<time_t>(secondsSinceEpoch);
    tm fields{};
    return ::localtime_r(&seconds, &fields) == nullptr ? 0 : fields.tm_gmtoff;
}

}  // namespace brellin::LocalTime
