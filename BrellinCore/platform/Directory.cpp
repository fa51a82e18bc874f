#include "BrellinCore/platform/Directory.h"

#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/platform/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace brellin {

namespace {

// Many times the size of the usual file, of which a single read then meets the end.
constexpr std::size_t smallBuffer = std::size_t{16} << 10U;

bool isKnownAsRegular(const dirent& entry) {
#ifdef DT_REG
    return entry.d_type == DT_REG;
#else
    return false;
#endif
}

/// A regular file of a size that is read.
bool isReadable(int file) {
    struct stat status {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
           static_cast<std::size_t>(status.st_size) <= FileSystem::maxFileSize;
}

/// Unlike Descriptor::readSome it never waits: something else may have come in the place of the file that
/// was listed.
ssize_t readWithoutWaiting(int file, char* buffer, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::read(file, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

}  // namespace

/// The open directory; closed with this object.
class Directory::Stream {
  public:
    explicit Stream(const char* path) : stream_(::opendir(path)) {}

    bool isOpen() const { return stream_ != nullptr; }

    /// The next entry; nullptr at the end and, with errno set, after an error.
    const dirent* next() {
        errno = 0;
        return ::readdir(stream_.get());
    }

    Descriptor openFile(const char* name) const {
        // A FIFO would block a plain open until someone writes to it; the server answers on one thread.
        return Descriptor(
            ::openat(::dirfd(stream_.get()), name, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    }

  private:
    struct Closer {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };

    std::unique_ptr<DIR, Closer> stream_;
};

Directory::Directory(std::string path, std::unique_ptr<Stream> stream)
    : path_(std::move(path)), stream_(std::move(stream)) {}

Directory::Directory(Directory&& other) noexcept = default;
Directory& Directory::operator=(Directory&& other) noexcept = default;
Directory::~Directory() = default;

std::optional<Directory> Directory::open(const std::string& path) {
    if (path.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    Directory directory(path, std::make_unique<Stream>(path.c_str()));
    const bool isListed = directory.stream_->isOpen() && directory.list();
    return isListed ? std::optional(std::move(directory)) : std::nullopt;
}

bool Directory::list() {
    while (const dirent* entry = stream_->next()) {
        const std::string_view name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") {
            entries_.push_back({std::string(name), isKnownAsRegular(*entry)});
        }
    }
    return errno == 0;
}

std::optional<std::string_view> Directory::read(const Entry& entry) try {
    if (!stream_) {
        return readByPath(entry);
    }
    const Descriptor file = stream_->openFile(entry.name.c_str());
    if (!file.isOpen() && (errno == EMFILE || errno == ENFILE)) {
        stream_.reset();
        return readByPath(entry);
    }
    if (!file.isOpen() || (!entry.isRegularFile && !isReadable(file.get()))) {
        return std::nullopt;
    }
    const auto size = fillBuffer(file.get());
    return size ? std::optional(std::string_view(buffer_).substr(0, *size)) : std::nullopt;
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

std::optional<std::string_view> Directory::readByPath(const Entry& entry) {
    auto content = FileSystem::readFile(path_ + "/" + entry.name);
    if (!content) {
        return std::nullopt;
    }
    buffer_ = std::move(*content);
    return buffer_;
}

/// Reads to the end of the file, which a read that does not fill its room has met; how much that was.
std::optional<std::size_t> Directory::fillBuffer(int file) {
    buffer_.resize(std::max(buffer_.size(), smallBuffer));
    std::size_t filled = 0;
    for (;;) {
        const ssize_t count = readWithoutWaiting(file, buffer_.data() + filled, buffer_.size() - filled);
        if (count < 0) {
            return std::nullopt;
        }
        filled += static_cast<std::size_t>(count);
        if (filled < buffer_.size()) {
            return filled;
        }
        // So large a file is worth the question whether it is one, and not too large.
        if (filled > FileSystem::maxFileSize || !isReadable(file)) {
            return std::nullopt;
        }
        buffer_.resize(std::min(2 * buffer_.size(), FileSystem::maxFileSize + 1));
    }
}

}  // namespace brellin
