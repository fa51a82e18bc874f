#pragma once

#include <exception>
#include <string_view>

namespace brellin::cli {

/// The exit statuses of the companion.
enum class ExitStatus {
    success = 0,
    failure = 1,
    usage = 2,
    undecided = 3,
};

/// Nobody reads standard output any more (`havrick now | head -1`): a reason to end, not an error.
class ReaderGone : public std::exception {};

/// Writes an answer and a line feed to standard output. On a terminal the verdicts' signs are coloured
/// (unless NO_COLOR asks for none), and control characters that a session's name may hold are made visible
/// instead of reaching the terminal; elsewhere the text goes out as it is.
///
/// @throws ReaderGone the pipe is closed
/// @throws std::runtime_error the text could not be written
void print(std::string_view text);

/// Writes one line to standard error, "havrick: " before it, control characters made visible. Where that
/// cannot be written there is nobody left to tell.
void printError(std::string_view text) noexcept;

}  // namespace brellin::cli
