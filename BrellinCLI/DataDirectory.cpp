#include "BrellinCLI/DataDirectory.h"

#include "BrellinCLI/Rounds.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/server/Paths.h"

#include <fmt/format.h>

#include <stdexcept>
#include <system_error>

namespace brellin::cli::DataDirectory {

std::filesystem::path path() {
    return Paths::root(processEnvironment());
}

void withStore(const std::function<void(Store&)>& work) {
    const std::filesystem::path root = path();
    const std::string database = Paths::database(root).string();
    try {
        Store store(root);
        work(store);
    } catch (const StoreError& error) {
        const bool opened = error.kind() != StoreError::Case::open;
        throw std::runtime_error(fmt::format("the history {} cannot be {}: {}", database,
                                             opened ? "written" : "opened", error.message()));
    } catch (const std::filesystem::filesystem_error& error) {
        throw std::runtime_error(fmt::format("the data directory {} cannot be created: {}", root.string(),
                                             error.code().message()));
    }
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

FileLock lockForJob(const std::string& name, const std::string& job) {
    FileLock taken = lock(name, FileLock::Contention::refuse);
    if (taken.holder()) {
        throw NotWorthRetrying(
            fmt::format("{} is at work on {} already: process {}", job, path().string(), *taken.holder()));
    }
    return taken;
}

}  // namespace brellin::cli::DataDirectory
