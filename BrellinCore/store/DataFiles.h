#pragma once

#include <array>
#include <string_view>

namespace brellin {

/// The names of all files that this system keeps in its data directory.
namespace DataFiles {

/// The history: an SQLite database, with SQLite's own "-wal" and "-shm" files beside it while it is open.
inline constexpr const char* database = "havrick.db";

/// The watch list: a JSON array of the keys of what somebody wants watched.
inline constexpr const char* watchList = "watchlist.json";

// Locks: empty files, each locked while its job is done. They stay; the system ends a lock with its
// process.

/// Held by the one process that records sessions.
inline constexpr const char* recorderLock = "recorder.lock";

/// Held by the one process that records watched targets.
inline constexpr const char* watchRecorderLock = "watch-recorder.lock";

/// Held during one edit of the watch list, so that none gets lost.
inline constexpr const char* watchListLock = "watchlist.lock";

/// All of them. A file whose name only begins so belongs to it: SQLite's, or one that is just being
/// written.
inline constexpr std::array<std::string_view, 5> all = {database, watchList, recorderLock,
                                                        watchRecorderLock, watchListLock};

}  // namespace DataFiles

}  // namespace brellin
