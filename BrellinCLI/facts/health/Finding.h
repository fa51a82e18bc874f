#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace brellin::cli {

/// One thing that was found out about this installation.
struct Finding {
    enum class Level { ok, warning, error };

    std::string_view topic;  ///< findings of one topic stand together
    Level level = Level::ok;
    std::string text;    ///< what is so
    std::string advice;  ///< what to do about it; empty where nothing is wrong
};

/// A text as one word of a shell's command line, to be copied out of an advice.
std::string shellQuoted(std::string_view text);

/// "1 session", "3 sessions".
std::string counted(std::int64_t number, std::string_view noun);

/// How long ago a time was, to about one part in a hundred: "42s ago", "1h30m ago", "3d ago".
std::string timeSince(std::int64_t time, std::int64_t now);

}  // namespace brellin::cli
