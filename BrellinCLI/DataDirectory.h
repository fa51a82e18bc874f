#pragma once

#include "BrellinCore/platform/FileLock.h"
#include "BrellinCore/platform/StopRequest.h"
#include "BrellinCore/store/HistoryReader.h"
#include "BrellinCore/store/Store.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace brellin::cli {

/// The data directory, as the commands use it. Every failure is a std::runtime_error whose text names the
/// path.
namespace DataDirectory {

/// Where it is, whether or not it exists.
std::filesystem::path path();

/// Whether a path leads to it, symbolic links followed.
bool isAt(const std::filesystem::path& directory);

/// The history in it.
std::filesystem::path database();

/// Does nothing for a directory that may be written to, or that does not exist.
///
/// @throws PermanentError it belongs to another user, or others can write to it: what is written there
/// would
///         not be ours
void requireToBeOurs();

/// Creates the directory where missing.
///
/// @throws PermanentError as requireToBeOurs
void prepareForWriting();

/// Takes the rights of others away from the directory and its files, and says so, where there are any.
void makePrivate();

/// Takes the lock of that name in the directory, which is created where missing.
FileLock lock(const std::string& name, FileLock::Contention contention);

/// Opens the history for reading. Nothing is created.
std::unique_ptr<HistoryReader> openHistory();

/// The same, but nullptr where there is no history yet, or none that can be read.
std::unique_ptr<HistoryReader> findHistory();

}  // namespace DataDirectory

/// The history, open for writing from the first use on. A write waits for other processes, for up to five
/// seconds or until a stop is requested.
class WritableHistory {
  public:
    /// The stop request must outlive this object.
    explicit WritableHistory(const StopRequest& stop) : stop_(stop) {}

    /// Calls `work` with the history, opened (and created where missing) at first, and anew when its file
    /// has been moved away.
    ///
    /// @throws Interrupted a stop was requested while `work` waited for another process
    /// @throws std::runtime_error the history cannot be opened or written; says why
    void use(const std::function<void(Store&)>& work);

  private:
    Store& open();

    const StopRequest& stop_;
    std::unique_ptr<Store> store_;
};

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
