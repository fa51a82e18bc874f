#include "tests/world/TemporaryDirectory.h"

#include <time.h>  // NOLINT(modernize-deprecated-headers): tzset is POSIX, not C++

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace brellin::world {

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = fs::temp_directory_path() / "havrick-test-XXXXXX";
    path_ = fs::canonical(::mkdtemp(pattern.data()));
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TemporaryDirectory::write(std::string_view name, std::string_view content) const {
    std::string path = *this / name;
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::string TemporaryDirectory::makeDirectory(std::string_view name) const {
    std::string path = *this / name;
    fs::create_directories(path);
    return path;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

ScopedVariable::ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* before = std::getenv(name); before != nullptr) {
        before_ = before;
    }
    value == nullptr ? ::unsetenv(name) : ::setenv(name, value, 1);
    ::tzset();
}

ScopedVariable::~ScopedVariable() {
    before_ ? ::setenv(name_.c_str(), before_->c_str(), 1) : ::unsetenv(name_.c_str());
    ::tzset();
}

}  // namespace brellin::world
