#pragma once

#include "BrellinCLI/views/Output.h"
#include "BrellinCLI/views/SessionTable.h"

#include <chrono>
#include <optional>
#include <string>

namespace brellin::cli {

/// `havrick list`: the declared sessions, one line each.
namespace ListCommand {

struct Options {
    std::optional<std::string> account;    ///< only that account's, by label or path
    std::optional<std::string> state;      ///< only those in that state
    std::optional<std::string> name;       ///< only those whose name fits the pattern
    std::optional<std::string> directory;  ///< only those in that directory, or below it
    SessionTable::Order order = SessionTable::Order::state;
    bool isReversed = false;
    bool isWide = false;
    bool hasTitles = true;
    bool idsAlone = false;
    bool asJson = false;
    std::optional<std::chrono::milliseconds> every;  ///< again and again, with a pause of that length
};

/// Prints the list. On a terminal it fits the width; in a pipe nothing is cut.
ExitStatus list(const Options& options);

/// Says whether a session is alive: success, failure (it is dead, or a zombie), or undecided.
///
/// @param isQuiet nothing is printed
/// @throws std::runtime_error the word stands for no session, or for several
ExitStatus isAlive(const std::string& whom, bool isQuiet, bool asJson);

}  // namespace ListCommand

}  // namespace brellin::cli
