#include "BrellinCLI/facts/health/HistoryHealth.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/text/DateText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

namespace brellin::cli::HistoryHealth {

namespace {

using Level = Finding::Level;

constexpr std::string_view topic = "history";

/// Of the database and of the log beside it.
std::string sizeOf(const std::string& file) {
    std::uintmax_t bytes = 0;
    for (const char* suffix : {"", "-wal"}) {
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(file + suffix, error);
        bytes += error ? 0 : size;
    }
    constexpr double kilobyte = 1000;
    const double kilobytes = static_cast<double>(bytes) / kilobyte;
    return kilobytes < kilobyte ? fmt::format("{:.0f} kB", kilobytes)
                                : fmt::format("{:.1f} MB", kilobytes / kilobyte);
}

Finding extentFinding(const std::string& file, const HistoryReader::Extent& extent) {
    const std::string oldest =
        extent.oldestObservation
            ? fmt::format(" since {}", DateText::timestampLocal(*extent.oldestObservation))
            : "";
    return {topic, Level::ok,
            fmt::format("sound, {}: {}, {}, {}, {}{}", sizeOf(file), counted(extent.sessions, "session"),
                        counted(extent.names, "name"), counted(extent.events, "event"),
                        counted(extent.observations, "observation"), oldest),
            ""};
}

Finding damaged(const std::string& file, std::string_view why) {
    return {topic, Level::error, fmt::format("{} is no sound history: {}", file, why),
            fmt::format("stop the recorder, then `mv {0} {0}.damaged`; the next record starts anew",
                        shellQuoted(file))};
}

Finding unreadable(const std::string& file, const StoreError& error) {
    if (!FileSystem::openFile(file)) {
        return {topic, Level::error, file + " cannot be opened",
                fmt::format("`ls -l {}` says why: it has to be a file of yours", shellQuoted(file))};
    }
    if (error.message() == "database is locked") {
        return {topic, Level::warning, file + " is locked by another program, so it was not examined",
                "`havrick doctor` once more, later"};
    }
    return damaged(file, error.message());
}

/// Rows may be in the log alone, and SQLite cannot read that without an index of it, which it would make.
bool lacksLogIndex(const std::string& file) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file + "-wal", error);
    return !error && size > 0 && FileSystem::isMissing(file + "-shm");
}

/// @throws StoreError it cannot be read
Result inspect(const std::string& file) {
    const HistoryReader reader(file, Database::Access::inspect);
    const auto damages = reader.damages();
    if (!damages.empty()) {
        return {{damaged(file, fmt::format("{}", fmt::join(damages, "; ")))}, std::nullopt};
    }
    const HistoryReader::Extent extent = reader.extent();
    return {{extentFinding(file, extent)}, extent};
}

}  // namespace

Result find() {
    const std::string file = DataDirectory::database().string();
    if (FileSystem::isMissing(file)) {
        return {{{topic, Level::warning, fmt::format("there is no history yet: {} does not exist", file),
                  "`havrick record` writes one, and `havrick record --every 30` or the service keeps it"}},
                std::nullopt};
    }
    if (lacksLogIndex(file)) {
        return {{{topic, Level::warning,
                  fmt::format("{0} was not examined: without {0}-shm it cannot be read unchanged", file),
                  "`havrick history` makes that file, then `havrick doctor` once more"}},
                std::nullopt};
    }
    try {
        return inspect(file);
    } catch (const StoreError& error) {
        return {{unreadable(file, error)}, std::nullopt};
    }
}

}  // namespace brellin::cli::HistoryHealth
