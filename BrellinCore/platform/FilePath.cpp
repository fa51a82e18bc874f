#include "BrellinCore/platform/FilePath.h"

#include "BrellinCore/platform/HomeDirectory.h"

#include <filesystem>
#include <system_error>

namespace brellin::FilePath {

namespace {

std::string_view withoutSlashesAtEnd(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') {
        path.remove_suffix(1);
    }
    return path;
}

std::string resolved(std::string_view path) {
    const std::string text = std::filesystem::path(path).lexically_normal().string();
    return std::string(withoutSlashesAtEnd(text));
}

}  // namespace

std::string expandTilde(std::string_view path) {
    if (!path.starts_with('~')) {
        return std::string(path);
    }
    const std::size_t slash = path.find('/');
    const std::string_view user = path.substr(1, slash == std::string_view::npos ? slash : slash - 1);
    const std::string_view rest = slash == std::string_view::npos ? std::string_view() : path.substr(slash);
    std::string home;
    if (user.empty()) {
        home = homeDirectory();
    } else if (const auto other = homeDirectory(std::string(user))) {
        home = *other;
    } else {
        return std::string(path);
    }
    // A home of "/" must not turn "~/x" into "//x".
    if (home == "/" && !rest.empty()) {
        home.clear();
    }
    return home.append(rest);
}

std::string absolute(std::string_view path) {
    if (path.starts_with('/')) {
        return std::string(withoutSlashesAtEnd(path));
    }
    std::error_code error;
    const std::filesystem::path workingDirectory = std::filesystem::current_path(error);
    // Without a working directory (it was deleted) a relative path names nothing, and stays what it is.
    return error ? std::string(path) : resolved((workingDirectory / path).native());
}

std::string normalize(std::string_view path) {
    return resolved(absolute(expandTilde(path)));
}

std::string_view lastComponent(std::string_view path) {
    path = withoutSlashesAtEnd(path);
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos || path.size() == 1 ? path : path.substr(slash + 1);
}

}  // namespace brellin::FilePath
