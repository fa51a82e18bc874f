#pragma once

#include "BrellinCLI/views/Output.h"
#include "BrellinCore/store/HistoryReader.h"

#include <chrono>
#include <string>

namespace brellin::cli {

/// `havrick history`: what the store knows, sessions long gone and watched targets included. The history is
/// opened for reading alone; none is created.
namespace HistoryCommand {

struct Options {
    HistoryReader::Filter filter;
    bool isFull = false;  ///< the list with whole ids, an entry with its observations
    bool inUTC = false;   ///< times in UTC instead of local time
    bool asJson = false;
};

/// Prints one line per session or target, the one seen last first; failure when there is none.
ExitStatus list(const Options& options);

/// Prints everything about what a word stands for: an id or its beginning, a name of any time, a short
/// address, the key of a target; failure when the history does not know it. Of several with that name an
/// alive one is meant.
///
/// @throws UnclearWhom the word stands for several
ExitStatus tell(const std::string& word, const Options& options);

/// Removes observations older than that, and says how many rows and bytes.
///
/// @param vacuums whether the space goes back to the file system
ExitStatus prune(std::chrono::milliseconds olderThan, bool vacuums);

/// Prints on standard error who had a name or short address at some time, as far as the history knows.
void reportFormerCarriers(const std::string& nameOrRef);

}  // namespace HistoryCommand

}  // namespace brellin::cli
