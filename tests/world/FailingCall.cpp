#include "tests/world/FailingCall.h"

#ifdef __linux__

#include <dirent.h>
#include <dlfcn.h>
#include <sys/types.h>

#include <cerrno>

namespace {

std::string_view failing;
int failure = 0;

/// Stands for a function of the system: fails once when it is to, otherwise calls it.
template <typename Result, typename... Arguments>
Result call(const char* function, Result failed, Arguments... arguments) {
    if (failing != function) {
        return reinterpret_cast<Result (*)(Arguments...)>(::dlsym(RTLD_NEXT, function))(arguments...);
    }
    failing = {};
    errno = failure;
    return failed;
}

}  // namespace

extern "C" {

// NOLINTNEXTLINE(readability-identifier-naming): the system's own name
int close_range(unsigned first, unsigned last, int flags) {
    return call("close_range", -1, first, last, flags);
}
int fsync(int descriptor) {
    return call("fsync", -1, descriptor);
}
ssize_t read(int descriptor, void* buffer, std::size_t size) {
    return call("read", ssize_t{-1}, descriptor, buffer, size);
}
dirent* readdir(DIR* directory) {
    return call("readdir", static_cast<dirent*>(nullptr), directory);
}
pid_t waitpid(pid_t process, int* status, int options) {
    return call("waitpid", pid_t{-1}, process, status, options);
}
ssize_t write(int descriptor, const void* buffer, std::size_t size) {
    return call("write", ssize_t{-1}, descriptor, buffer, size);
}

}  // extern "C"

void brellin::world::failNext(std::string_view function, int error) {
    failing = function;
    failure = error;
}

#endif
