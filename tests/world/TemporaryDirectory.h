#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace brellin::world {

/// A throw-away directory, removed with everything in it. Most tests use it as a home.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::string& path() const { return path_; }
    std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }

    /// Writes a file, creating the directories above it; returns its path.
    std::string write(std::string_view name, std::string_view content) const;
    std::string makeDirectory(std::string_view name) const;

  private:
    std::string path_;
};

/// The whole content of a file; empty when there is none.
std::string contentOf(const std::string& path);

/// Sets an environment variable for the life of this object, and the C library's time zone with it.
class ScopedVariable {
  public:
    ScopedVariable(const char* name, const char* value);  ///< nullptr unsets it
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable();

  private:
    std::string name_;
    std::optional<std::string> before_;
};

}  // namespace brellin::world
