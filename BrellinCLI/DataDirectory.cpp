#include "BrellinCLI/DataDirectory.h"

#include "BrellinCLI/RepeatAtInterval.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/server/Paths.h"
#include "BrellinCore/store/DataFiles.h"

#include <fmt/format.h>

#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace brellin::cli {

namespace DataDirectory {

namespace {

void openStore(std::string_view purpose, const std::function<void(Store&)>& work) {
    const std::filesystem::path root = path();
    try {
        Store store(root);
        work(store);
    } catch (const StoreError& error) {
        throw std::runtime_error(
            fmt::format("the history {} cannot be {}: {}", Paths::database(root).string(),
                        error.kind() == StoreError::Case::open ? "opened" : purpose, error.message()));
    } catch (const std::filesystem::filesystem_error& error) {
        throw std::runtime_error(fmt::format("the data directory {} cannot be created: {}", root.string(),
                                             error.code().message()));
    }
}

}  // namespace

std::filesystem::path path() {
    return Paths::root(processEnvironment());
}

void withStore(const std::function<void(Store&)>& work) {
    const FileLock turn = lock(DataFiles::writerLock, FileLock::Contention::wait);
    openStore("written", work);
}

void readStore(const std::function<void(const Store&)>& work) {
    openStore("read", work);
}

FileLock lock(const std::string& name, FileLock::Contention contention) {
    const std::filesystem::path root = path();
    try {
        std::filesystem::create_directories(root);
        return {(root / name).string(), contention};
    } catch (const std::system_error& error) {
        throw std::runtime_error(fmt::format("the data directory {} cannot be written: {}", root.string(),
                                             error.code().message()));
    }
}

}  // namespace DataDirectory

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
