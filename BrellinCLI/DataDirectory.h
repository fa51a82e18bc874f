#pragma once

#include "BrellinCore/platform/FileLock.h"
#include "BrellinCore/store/Store.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace brellin::cli {

/// The data directory, as the commands use it. Every failure is a std::runtime_error whose text names the
/// path.
namespace DataDirectory {

/// Where it is, whether or not it exists.
std::filesystem::path path();

/// Opens the history, creating it where missing, and calls `work` with it. Only one process of the
/// companion writes at a time, the others wait here: a write of the store fails at once when another
/// process holds the database's lock.
void withStore(const std::function<void(Store&)>& work);

/// Opens the history and calls `work` with it, for reading.
void readStore(const std::function<void(const Store&)>& work);

/// Takes the lock of that name in the directory, which is created where missing.
FileLock lock(const std::string& name, FileLock::Contention contention);

}  // namespace DataDirectory

/// The lock of a job that must not be done twice at once on a data directory.
class JobLock {
  public:
    /// @param name the lock's file
    /// @param job  as the refusal calls it, "a recorder"
    JobLock(std::string name, std::string job) : name_(std::move(name)), job_(std::move(job)) {}

    /// Takes the lock, or takes it anew when its file has been deleted; nothing when it is held.
    ///
    /// @throws PermanentError naming the process that does the job already
    void acquire();

  private:
    std::string name_;
    std::string job_;
    std::optional<FileLock> lock_;
};

}  // namespace brellin::cli
