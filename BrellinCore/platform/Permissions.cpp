#include "BrellinCore/platform/Permissions.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace brellin::Permissions {

namespace {

constexpr mode_t rightsOfOthers = S_IRWXG | S_IRWXO;

/// A path with a NUL byte in it would be cut short there, and name something else.
bool isWhole(const std::string& path) {
    return path.find('\0') == std::string::npos;
}

}  // namespace

std::optional<Access> of(const std::string& path) {
    struct stat status {};
    if (!isWhole(path) || ::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    const mode_t search = S_ISDIR(status.st_mode) ? S_IXGRP | S_IXOTH : 0;
    return Access{.isOurs = status.st_uid == ::geteuid(),
                  .othersCanRead = (status.st_mode & (S_IRGRP | S_IROTH | search)) != 0,
                  .othersCanWrite = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0};
}

bool makePrivate(const std::string& path) {
    struct stat status {};
    if (!isWhole(path) || ::lstat(path.c_str(), &status) != 0 || S_ISLNK(status.st_mode)) {
        return false;
    }
    if ((status.st_mode & rightsOfOthers) == 0) {
        return true;
    }
    constexpr mode_t all = 07777;
    const mode_t own = status.st_mode & all & ~rightsOfOthers;
    if (::fchmodat(AT_FDCWD, path.c_str(), own, AT_SYMLINK_NOFOLLOW) == 0) {
        return true;
    }
    // An older Linux cannot do that, nor one without /proc; that it is no link was seen above.
    return (errno == EOPNOTSUPP || errno == ENOTSUP) && ::chmod(path.c_str(), own) == 0;
}

}  // namespace brellin::Permissions
