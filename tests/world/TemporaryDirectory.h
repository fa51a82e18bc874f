#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace brellin::world {

/// The whole content of a file; empty when there is none.
inline std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A throw-away directory, removed with everything in it. Most tests use it as a home.
class TemporaryDirectory {
  public:
    explicit TemporaryDirectory(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string pattern = parent / "havrick-test-XXXXXX";
        path_ = std::filesystem::canonical(::mkdtemp(pattern.data()));
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::string& path() const { return path_; }
    std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }

    /// Makes a directory and those above it; returns its path.
    std::string makeDirectory(std::string_view name) const {
        std::filesystem::create_directories(*this / name);
        return *this / name;
    }
    /// Writes a file, creating the directories above it; returns its path.
    std::string write(std::string_view name, std::string_view content) const {
        std::filesystem::create_directories(std::filesystem::path(*this / name).parent_path());
        std::ofstream(*this / name, std::ios::binary) << content;
        return *this / name;
    }
    /// The whole content of a file; empty when there is none.
    std::string read(std::string_view name) const { return contentOf(*this / name); }

  private:
    std::string path_;
};

}  // namespace brellin::world
