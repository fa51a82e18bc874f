#include "BrellinCore/platform/HomeDirectory.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace brellin {

namespace {

std::string withoutSlashAtEnd(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

#ifdef HAVRICK_STATIC_LIBC
// The user database may be a name-service module of the machine's own C library, which an executable with
// another one inside must never load. So it knows the users of the file alone.
struct UserFileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};

/// The first entry of /etc/passwd that `isWanted` accepts, as the look-ups below give it.
template <typename Predicate>
int entryOfUserFile(Predicate isWanted, passwd* entry, char* buffer, std::size_t size, passwd** found) {
    const std::unique_ptr<FILE, UserFileCloser> users(std::fopen("/etc/passwd", "re"));
    int error = users ? 0 : errno;
    while (error == 0) {
        error = ::fgetpwent_r(users.get(), entry, buffer, size, found);
        if (error == 0 && isWanted(*entry)) {
            return 0;
        }
    }
    *found = nullptr;
    return error;
}

int entryOfUser(uid_t id, passwd* entry, char* buffer, std::size_t size, passwd** found) {
    return entryOfUserFile([&](const passwd& user) { return user.pw_uid == id; }, entry, buffer, size,
                           found);
}

int entryOfUser(const char* name, passwd* entry, char* buffer, std::size_t size, passwd** found) {
    return entryOfUserFile([&](const passwd& user) { return std::strcmp(user.pw_name, name) == 0; }, entry,
                           buffer, size, found);
}
#else
int entryOfUser(uid_t id, passwd* entry, char* buffer, std::size_t size, passwd** found) {
    return ::getpwuid_r(id, entry, buffer, size, found);
}

int entryOfUser(const char* name, passwd* entry, char* buffer, std::size_t size, passwd** found) {
    return ::getpwnam_r(name, entry, buffer, size, found);
}
#endif

/// The home directory of a user, by id or by name, looked up with a buffer that is large enough for the
/// entry.
template <typename Key>
std::optional<std::string> directoryFromUserDatabase(Key key) {
    for (std::vector<char> buffer(1024); buffer.size() <= (1U << 20U); buffer.resize(buffer.size() * 4)) {
        passwd entry{};
        passwd* found = nullptr;
        const int error = entryOfUser(key, &entry, buffer.data(), buffer.size(), &found);
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
    return directoryFromUserDatabase(::getuid()).value_or("/");
}

std::optional<std::string> homeDirectory(const std::string& userName) {
    return directoryFromUserDatabase(userName.c_str());
}

}  // namespace brellin
