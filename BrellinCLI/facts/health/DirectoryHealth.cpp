#include "BrellinCLI/facts/health/DirectoryHealth.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/platform/Permissions.h"
#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/watch/WatchList.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>

namespace brellin::cli::DirectoryHealth {

namespace {

using Level = Finding::Level;

constexpr std::string_view topic = "directory";

Finding placeFinding(const std::string& root) {
    const Environment environment = processEnvironment();
    const auto variable = environment.find("HAVRICK_ROOT");
    if (variable == environment.end() || variable->second.empty()) {
        return {topic, Level::ok, root + ", the default: HAVRICK_ROOT is not set", ""};
    }
    if (variable->second.starts_with('/') || variable->second.starts_with('~')) {
        return {topic, Level::ok, root + ", which HAVRICK_ROOT names", ""};
    }
    return {topic, Level::warning,
            fmt::format("{}: HAVRICK_ROOT is relative, so it is another one in every directory", root),
            fmt::format("`export HAVRICK_ROOT={}`", shellQuoted(root))};
}

/// What is wrong with the owner or the mode of the directory or a file in it.
std::optional<Finding> accessFinding(const std::string& path) {
    const auto access = Permissions::of(path);
    if (!access) {
        return Finding{topic, Level::error, path + " cannot be looked at",
                       fmt::format("`ls -ld {}` says why", shellQuoted(path))};
    }
    if (!access->isOurs) {
        return Finding{topic, Level::error, path + " belongs to another user",
                       fmt::format("run havrick as that user, set HAVRICK_ROOT to a directory of your own, "
                                   "or `sudo chown \"$(id -un)\" {}`",
                                   shellQuoted(path))};
    }
    if (access->othersCanWrite) {
        return Finding{topic, Level::error,
                       path + " can be written by other users: nobody could trust what is in it",
                       fmt::format("`chmod go-w {}`", shellQuoted(path))};
    }
    if (access->othersCanRead) {
        return Finding{
            topic, Level::warning, path + " can be read by other users",
            fmt::format("`chmod go-rwx {}`, as the next `havrick record` does", shellQuoted(path))};
    }
    return std::nullopt;
}

std::vector<Finding> accessFindings(const std::string& root) {
    std::vector<Finding> findings;
    const auto names = FileSystem::listDirectory(root);
    if (!names) {
        return {
            {topic, Level::error, root + " cannot be listed",
             fmt::format("`ls -ld {}` says why: it has to be a directory of yours", shellQuoted(root))}};
    }
    if (auto directory = accessFinding(root)) {
        findings.push_back(std::move(*directory));
    }
    for (const std::string& name : *names) {
        const bool isOurs = std::ranges::any_of(
            DataFiles::all, [&](std::string_view file) { return name.starts_with(file); });
        auto file = isOurs ? accessFinding(fmt::format("{}/{}", root, name)) : std::nullopt;
        if (file) {
            findings.push_back(std::move(*file));
        }
    }
    if (findings.empty()) {
        findings.push_back({topic, Level::ok, "it and its files are yours alone", ""});
    }
    return findings;
}

std::optional<Finding> watchListFinding(const std::string& root) {
    const WatchList::Loaded loaded = WatchList::load(root);
    if (loaded.isReadable && loaded.skipped == 0) {
        return std::nullopt;
    }
    const std::string file = root + "/" + DataFiles::watchList;
    return Finding{
        topic, Level::warning,
        loaded.isReadable ? file + " has entries that cannot be watched"
                          : file + " is no list: not a JSON array of texts, or not readable",
        fmt::format("correct it; or `mv {0} {0}.damaged`, and add the targets anew", shellQuoted(file))};
}

}  // namespace

std::vector<Finding> find() {
    const std::string root = DataDirectory::path().string();
    std::vector<Finding> findings = {placeFinding(root)};
    if (FileSystem::isMissing(root)) {
        return findings;  // that there is no history is said elsewhere
    }
    for (Finding& finding : accessFindings(root)) {
        findings.push_back(std::move(finding));
    }
    if (auto watchList = watchListFinding(root)) {
        findings.push_back(std::move(*watchList));
    }
    return findings;
}

}  // namespace brellin::cli::DirectoryHealth
