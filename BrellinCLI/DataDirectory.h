#pragma once

#include "BrellinCore/platform/FileLock.h"
#include "BrellinCore/store/Store.h"

#include <filesystem>
#include <functional>
#include <string>

namespace brellin::cli {

/// The data directory, as the commands use it. What goes wrong is thrown as a std::runtime_error in words
/// that name the path.
namespace DataDirectory {

/// Where it is, whether or not it exists.
std::filesystem::path path();

/// Opens the history for the length of the work, creating it where missing.
void withStore(const std::function<void(Store&)>& work);

/// Takes the lock of that name in the directory, which is created where missing. A lock ends with its
/// process.
FileLock lock(const std::string& name, FileLock::Contention contention);

/// Takes the lock of a job that must not be done twice at once.
///
/// @param job as the refusal calls it, "a recorder"
/// @throws NotWorthRetrying naming the process that does the job already
FileLock lockForJob(const std::string& name, const std::string& job);

}  // namespace DataDirectory

}  // namespace brellin::cli
