#include "BrellinCore/server/Paths.h"

#include "BrellinCore/platform/FilePath.h"
#include "BrellinCore/platform/HomeDirectory.h"
#include "BrellinCore/store/DataFiles.h"

namespace brellin::Paths {

std::filesystem::path root(const Environment& environment) {
    const auto override = environment.find("HAVRICK_ROOT");
    if (override != environment.end() && !override->second.empty()) {
        return FilePath::absolute(FilePath::expandTilde(override->second));
    }
    return defaultRoot(homeDirectory());
}

std::filesystem::path defaultRoot(const std::string& home) {
    return std::filesystem::path(home) / "Library/Application Support/Havrick";
}

std::filesystem::path database(const std::filesystem::path& root) {
    return root / DataFiles::database;
}

}  // namespace brellin::Paths
