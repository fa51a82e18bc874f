#include "BrellinCore/platform/FileSystem.h"

#include "BrellinCore/platform/Directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

namespace brellin::FileSystem {

namespace {

bool holdsNul(const std::string& path) {
    return path.find('\0') != std::string::npos;
}

/// Reads a file that was found to be `expected` bytes long. The buffer has one byte more, so that a read
/// which fills all but that byte has met the end, and the usual file takes a single read. A file that grew
/// or shrank meanwhile is read on to its end.
std::optional<std::string> readToEnd(const Descriptor& file, std::size_t expected) try {
    std::string content(expected + 1, '\0');
    std::size_t filled = 0;
    while (filled <= maxFileSize) {
        if (filled == content.size()) {
            content.resize(content.size() * 2);
        }
        const auto count = file.readSome(content.data() + filled, content.size() - filled);
        if (!count) {
            return std::nullopt;
        }
        filled += *count;
        if (*count == 0 || filled == expected) {
            content.resize(filled);
            return content;
        }
    }
    return std::nullopt;
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

struct RegularFile {
    Descriptor descriptor;
    std::size_t size = 0;
};

std::optional<RegularFile> openRegularFile(const std::string& path) {
    if (holdsNul(path)) {
        return std::nullopt;
    }
    // A FIFO would block a plain open until someone writes to it; the server answers on one thread.
    Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    return RegularFile{std::move(file), static_cast<std::size_t>(status.st_size)};
}

/// Brings what was written to the disk itself. On macOS fsync stops at the drive's cache.
bool bringToDisk(const Descriptor& file) {
#ifdef F_FULLFSYNC
    if (::fcntl(file.get(), F_FULLFSYNC) == 0) {
        return true;
    }
#endif
    return ::fsync(file.get()) == 0;
}

/// Where a chain of symbolic links ends, whether there is something or not.
std::string endOfLinks(const std::string& path) {
    constexpr int longestChain = 40;  // as on Linux, where a longer one cannot be opened either
    std::filesystem::path end = path;
    for (int links = 0; links <= longestChain; ++links) {
        std::error_code isNoLink;
        const auto target = std::filesystem::read_symlink(end, isNoLink);
        if (isNoLink) {
            return end;
        }
        end = end.parent_path() / target;
    }
    throw std::system_error(ELOOP, std::generic_category(), path);
}

/// The rights of a file that takes the place of what is at the path.
mode_t modeOfReplacement(const std::string& path) {
    constexpr mode_t usual = 0666;
    const mode_t mask = ::umask(0);
    ::umask(mask);
    struct stat old {};
    const bool isReplaced = ::lstat(path.c_str(), &old) == 0 && S_ISREG(old.st_mode);
    return usual & ~mask & (isReplaced ? old.st_mode : usual);
}

}  // namespace

bool isMissing(const std::string& path) {
    struct stat status {};
    return holdsNul(path) || (::lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR));
}

bool isDirectory(const std::string& path) {
    struct stat status {};
    return !holdsNul(path) && ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<std::vector<std::string>> listDirectory(const std::string& path) {
    const auto directory = Directory::open(path);
    if (!directory) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    for (const Directory::Entry& entry : directory->entries()) {
        names.push_back(entry.name);
    }
    std::ranges::sort(names);
    return names;
}

std::optional<Descriptor> openFile(const std::string& path) {
    auto file = openRegularFile(path);
    return file ? std::optional(std::move(file->descriptor)) : std::nullopt;
}

std::optional<std::string> readFile(const std::string& path) {
    const auto file = openRegularFile(path);
    return file && file->size <= maxFileSize ? readToEnd(file->descriptor, file->size) : std::nullopt;
}

void writeFileAtomically(const std::string& path, std::string_view content) {
    const std::string target = holdsNul(path) ? "" : endOfLinks(path);
    std::string temporary = target + ".XXXXXX";
    Descriptor file(target.empty() ? -1 : ::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.isOpen()) {
        throw std::system_error(target.empty() ? ENOENT : errno, std::generic_category(), path);
    }
    // mkostemp makes a file for its owner alone, whatever the umask says.
    const bool written = ::fchmod(file.get(), modeOfReplacement(target)) == 0 && file.writeAll(content) &&
                         bringToDisk(file) && ::rename(temporary.c_str(), target.c_str()) == 0;
    if (!written) {
        const int error = errno;
        ::unlink(temporary.c_str());
        throw std::system_error(error, std::generic_category(), path);
    }
}

}  // namespace brellin::FileSystem
