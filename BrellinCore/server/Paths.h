#pragma once

#include "BrellinCore/platform/Environment.h"

#include <filesystem>
#include <string>

namespace brellin {

/// Where the system keeps its own data. Paths are computed, never created or tested.
namespace Paths {

/// The data directory: HAVRICK_ROOT when it is set and not empty (a leading tilde is expanded, a relative
/// path is taken from the working directory), otherwise "Library/Application Support/Havrick" in the home
/// directory.
std::filesystem::path root(const Environment& environment);

/// The data directory where HAVRICK_ROOT is not set, in a home directory.
std::filesystem::path defaultRoot(const std::string& home);

/// The history database inside a data directory: "havrick.db".
std::filesystem::path database(const std::filesystem::path& root);

}  // namespace Paths

}  // namespace brellin
