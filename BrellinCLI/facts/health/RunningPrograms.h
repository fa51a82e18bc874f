#pragma once

#include "BrellinCore/platform/StopRequest.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brellin::cli {

/// A process of this user that runs one of this system's executables.
struct RunningProgram {
    std::int32_t pid = 0;
    std::int64_t startedAt = 0;      ///< milliseconds since the Unix epoch, as `ps` has it
    std::vector<std::string> words;  ///< its command line, split at spaces

    /// The executable's name without its directory.
    std::string_view name() const;

    bool hasWord(std::string_view word) const;

    /// The word behind an option; nullopt without it.
    std::optional<std::string> valueOf(std::string_view option) const;

    /// The data directory that it uses; nullopt where the system does not tell, and where it depends on
    /// the directory in which it was started.
    std::optional<std::filesystem::path> dataDirectory() const;

    /// False when it is known to have another home than this process.
    bool isOfThisHome() const;
};

/// What `ps` says of this user's processes at one moment.
struct RunningPrograms {
    std::optional<std::string> failure;   ///< why it does not even know this process, in words
    std::vector<RunningProgram> havrick;  ///< without this process

    /// By how many milliseconds the start of a child that was just started is off our clock, measured to
    /// the second; nullopt where the child was not found.
    std::optional<std::int64_t> clockError;

    /// @throws Interrupted a stop was requested
    static RunningPrograms take(const StopRequest& stop);

    const RunningProgram* withPid(std::int32_t pid) const;
};

}  // namespace brellin::cli
