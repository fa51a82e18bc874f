#include "BrellinCore/platform/HomeDirectory.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

namespace brellin {

namespace {

std::string withoutSlashAtEnd(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

/// Runs one of the reentrant look-ups of the user database with a buffer that is large enough for it.
template <typename Lookup>
std::optional<std::string> directoryFromUserDatabase(Lookup lookup) {
    for (std::vector<char> buffer(1024); buffer.size() <= (1U << 20U); buffer.resize(buffer.size() * 4)) {
        passwd entry{};
        passwd* found = nullptr;
        const int error = lookup(&entry, buffer.data(), buffer.size(), &found);
        if (error == ERANGE || error == EINTR) {
            continue;
        }
        if (found == nullptr || found->pw_dir == nullptr || *found->pw_dir == '\0') {
            return std::nullopt;
        }
        return withoutSlashAtEnd(found->pw_dir);
    }
    return std::nullopt;
}

}  // namespace

std::string homeDirectory() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && *home == '/') {
        return withoutSlashAtEnd(home);
    }
    return directoryFromUserDatabase([](passwd* entry, char* buffer, std::size_t size, passwd** found) {
               return ::getpwuid_r(::getuid(), entry, buffer, size, found);
           })
        .value_or("/");
}

std::optional<std::string> homeDirectory(const std::string& userName) {
    return directoryFromUserDatabase([&](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return ::getpwnam_r(userName.c_str(), entry, buffer, size, found);
    });
}

}  // namespace brellin
