#include "BrellinCLI/DataDirectory.h"

#include "BrellinCLI/Interrupted.h"
#include "BrellinCLI/RepeatAtInterval.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/platform/Permissions.h"
#include "BrellinCore/server/Paths.h"
#include "BrellinCore/store/DataFiles.h"

#include <fmt/format.h>

#include <chrono>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

namespace brellin::cli {

namespace {

std::runtime_error historyFailure(std::string_view purpose, const StoreError& error) {
    return std::runtime_error(
        fmt::format("the history {} cannot be {}: {}", DataDirectory::database().string(),
                    error.kind() == StoreError::Case::open ? "opened" : purpose, error.message()));
}

/// Takes the rights of others away from what is ours; true when they had some.
bool tighten(const std::filesystem::path& path) {
    const auto access = Permissions::of(path.string());
    return access && access->isOurs && (access->othersCanRead || access->othersCanWrite) &&
           Permissions::makePrivate(path.string());
}

/// Waits for another process in steps, so that a stop ends the wait.
bool waitForOthers(const StopRequest& stop, int calls) {
    constexpr std::chrono::milliseconds step(10);
    constexpr std::chrono::milliseconds longest(5000);
    return calls < longest / step && !stop.arrivesWithin(step);
}

}  // namespace

namespace DataDirectory {

std::filesystem::path path() {
    return Paths::root(processEnvironment());
}

bool isAt(const std::filesystem::path& directory) {
    std::error_code error;
    return directory == path() || std::filesystem::equivalent(directory, path(), error);
}

std::filesystem::path database() {
    return Paths::database(path());
}

void requireToBeOurs() {
    const std::string root = path().string();
    const auto access = Permissions::of(root);
    if (access && !access->isOurs) {
        throw PermanentError(
            fmt::format("the data directory {} belongs to another user: run havrick as that user, or "
                        "set HAVRICK_ROOT to a directory of your own",
                        root));
    }
    if (access && access->othersCanWrite) {
        throw PermanentError(fmt::format(
            "other users can write to the data directory {}: run `chmod go-w '{}'` first", root, root));
    }
}

void prepareForWriting() {
    const std::string root = path().string();
    std::error_code error;
    std::filesystem::create_directories(root, error);
    if (error) {
        throw std::runtime_error(
            fmt::format("the data directory {} cannot be written: {}", root, error.message()));
    }
    requireToBeOurs();
}

void makePrivate() {
    std::error_code ignored;
    const std::filesystem::path root = std::filesystem::weakly_canonical(path(), ignored);
    const bool wasOpen = tighten(root);
    for (const std::string& name :
         FileSystem::listDirectory(root.string()).value_or(std::vector<std::string>())) {
        const bool isOurs = std::ranges::any_of(
            DataFiles::all, [&](std::string_view file) { return name.starts_with(file); });
        if (isOurs) {
            tighten(std::filesystem::weakly_canonical(root / name, ignored));
        }
    }
    if (wasOpen) {
        printError(fmt::format("other users could read {}; now only you can", root.string()));
    }
}

FileLock lock(const std::string& name, FileLock::Contention contention) {
    prepareForWriting();
    const std::filesystem::path root = path();
    try {
        return {(root / name).string(), contention};
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::too_many_symbolic_link_levels) {
            throw std::runtime_error(
                fmt::format("the lock {} is a link; remove it", (root / name).string()));
        }
        throw std::runtime_error(fmt::format("the data directory {} cannot be written: {}", root.string(),
                                             error.code().message()));
    }
}

std::unique_ptr<HistoryReader> openHistory() {
    const std::string file = database().string();
    if (!FileSystem::isMissing(file) && !FileSystem::openFile(file)) {
        throw std::runtime_error(fmt::format("the history {} is no file that can be read", file));
    }
    if (FileSystem::isMissing(file)) {
        throw std::runtime_error(
            fmt::format("there is no history yet: {} does not exist (`havrick record` writes it)", file));
    }
    try {
        return std::make_unique<HistoryReader>(file);
    } catch (const StoreError& error) {
        throw std::runtime_error(fmt::format("the history {} cannot be read: {}", file, error.message()));
    }
}

std::unique_ptr<HistoryReader> findHistory() {
    try {
        return openHistory();
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

}  // namespace DataDirectory

void WritableHistory::use(const std::function<void(Store&)>& work) {
    try {
        work(open());
    } catch (const StoreError& error) {
        if (stop_.hasArrived()) {
            throw Interrupted();
        }
        throw historyFailure("written", error);
    }
}

Store& WritableHistory::open() {
    if (store_ && !store_->database().hasMoved()) {
        return *store_;
    }
    if (store_) {
        store_->database().bringLogIntoFile();  // nobody who finds the file where it is now finds its log
    }
    store_.reset();
    DataDirectory::prepareForWriting();
    DataDirectory::makePrivate();
    store_ = std::make_unique<Store>(DataDirectory::path(),
                                     [this](int calls) { return waitForOthers(stop_, calls); });
    return *store_;
}

void JobLock::acquire() {
    if (lock_ && lock_->isInPlace()) {
        return;
    }
    lock_.reset();
    FileLock taken = DataDirectory::lock(name_, FileLock::Contention::refuse);
    if (taken.holder()) {
        throw PermanentError(fmt::format("{} is at work on {} already: process {}", job_,
                                         DataDirectory::path().string(), *taken.holder()));
    }
    lock_.emplace(std::move(taken));
}

}  // namespace brellin::cli
