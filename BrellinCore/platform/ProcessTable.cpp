#include "BrellinCore/platform/ProcessTable.h"

#include "BrellinCore/platform/FileSystem.h"

#include <signal.h>  // NOLINT(modernize-deprecated-headers): kill is POSIX, not C++
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>

#ifdef __APPLE__
#include <mach-o/dyld.h>

#include <vector>
#endif

namespace brellin::ProcessTable {

namespace {

/// Variables as the kernel keeps them: "name=value", each ended by a NUL byte.
Environment environmentInBlock(std::string_view block) {
    Environment environment;
    while (!block.empty()) {
        const std::string_view entry = block.substr(0, block.find('\0'));
        if (const std::size_t equals = entry.find('='); equals != std::string_view::npos) {
            environment.emplace(entry.substr(0, equals), entry.substr(equals + 1));
        }
        block.remove_prefix(std::min(entry.size() + 1, block.size()));
    }
    return environment;
}

}  // namespace

bool contains(std::int32_t pid) {
    return pid >= 1 && (::kill(pid, 0) == 0 || errno == EPERM);
}

std::int32_t ownPid() {
    return ::getpid();
}

std::uint32_t ownUser() {
    return ::getuid();
}

std::optional<Environment> environmentOf(std::int32_t pid) {
    const auto content = FileSystem::readFile("/proc/" + std::to_string(pid) + "/environ");
    if (!content) {
        return std::nullopt;
    }
    return environmentInBlock(*content);
}

std::optional<std::string> ownExecutable() {
    std::error_code error;
#ifdef __APPLE__
    std::uint32_t size = 0;
    ::_NSGetExecutablePath(nullptr, &size);  // says how much room it takes
    std::vector<char> path(size + 1);
    if (::_NSGetExecutablePath(path.data(), &size) != 0) {
        return std::nullopt;
    }
    const std::filesystem::path file = std::filesystem::canonical(path.data(), error);
#else
    const std::filesystem::path file = std::filesystem::read_symlink("/proc/self/exe", error);
#endif
    return error ? std::nullopt : std::optional(file.string());
}

}  // namespace brellin::ProcessTable
