#include "BrellinCore/platform/FileLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace brellin {

FileLock::FileLock(const std::string& path, Contention contention)
    : path_(path),
      file_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0600)) {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    const int command = contention == Contention::wait ? F_SETLKW : F_SETLK;
    while (file_.isOpen() && ::fcntl(file_.get(), command, &whole) != 0) {
        if (errno == EINTR) {
            continue;
        }
        struct flock found = whole;
        const bool isHeld =
            (errno == EACCES || errno == EAGAIN) && ::fcntl(file_.get(), F_GETLK, &found) == 0;
        if (isHeld && found.l_type != F_UNLCK) {
            holder_ = found.l_pid;
            return;
        }
        // Held by nobody any more: its holder ended between the two questions.
        if (!isHeld) {
            throw std::system_error(errno, std::generic_category(), path);
        }
    }
    if (!file_.isOpen()) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

bool FileLock::isInPlace() const {
    struct stat ours {};
    struct stat named {};
    return ::fstat(file_.get(), &ours) == 0 && ::stat(path_.c_str(), &named) == 0 &&
           ours.st_dev == named.st_dev && ours.st_ino == named.st_ino;
}

std::optional<std::int32_t> FileLock::holderOf(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    struct flock asked {};
    asked.l_type = F_RDLCK;  // what a file that is open for reading could be given
    asked.l_whence = SEEK_SET;
    if (!file.isOpen() || ::fcntl(file.get(), F_GETLK, &asked) != 0 || asked.l_type == F_UNLCK) {
        return std::nullopt;
    }
    return asked.l_pid;
}

}  // namespace brellin
