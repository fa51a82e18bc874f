#pragma once

#include "BrellinCore/watch/WatchTarget.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// The targets that somebody wants watched, in the order in which they were added. It is kept on disk as a
/// JSON array of their keys, so the baseline of a PID target is not. Changes are in memory until saved.
struct WatchList {
    /// What a directory holds.
    struct Loaded;

    std::vector<WatchTarget> targets;

    /// "watchlist.json" inside a directory.
    static std::filesystem::path file(const std::filesystem::path& directory);

    /// Reads the list. A file that is missing, or that is no JSON array of strings, gives an empty list.
    static Loaded load(const std::filesystem::path& directory);

    /// load's reading of a file's text.
    static Loaded fromDocument(std::string_view text);

    /// Writes the list, creating the directory where missing. The file is replaced atomically: a reader, or
    /// a crash at any moment, finds the old list or the new one.
    ///
    /// @throws std::system_error the directory or the file could not be written; the old file is unchanged
    void save(const std::filesystem::path& directory) const;

    /// The file's text: compact JSON, slashes escaped.
    std::string document() const;

    /// Appends the target; false when one with its key is there already.
    bool add(const WatchTarget& target);

    /// Removes every target with that key; false when there was none.
    bool remove(std::string_view key);

    friend bool operator==(const WatchList&, const WatchList&) = default;
};

struct WatchList::Loaded {
    WatchList list;
    std::size_t skipped = 0;  ///< entries that are no valid spec
    bool isReadable = true;   ///< false when something is there that is no JSON array of strings
};

}  // namespace brellin
