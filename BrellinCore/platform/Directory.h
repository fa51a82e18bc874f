#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// A directory of many small files that are all to be read, one after the other. What FileSystem says of
/// directories and files holds here, too: only regular files are read, symbolic links are followed, nothing
/// blocks, and a file beyond FileSystem::maxFileSize counts as unreadable.
class Directory {
  public:
    struct Entry {
        std::string name;
        bool isRegularFile = false;  ///< the listing says so; when it does not, the file has to be asked
    };

    /// Opens and lists it. nullopt when it cannot be listed to its end.
    static std::optional<Directory> open(const std::string& path);

    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    Directory(Directory&& other) noexcept;
    Directory& operator=(Directory&& other) noexcept;
    ~Directory();

    /// All but "." and "..", in the order in which the system lists and thus finds them fastest.
    const std::vector<Entry>& entries() const { return entries_; }

    /// The whole content of a file, valid until the next call. nullopt when it cannot be read to its end.
    std::optional<std::string_view> read(const Entry& entry);

  private:
    class Stream;

    Directory(std::string path, std::unique_ptr<Stream> stream);

    bool list();
    std::optional<std::string_view> readByPath(const Entry& entry);
    std::optional<std::size_t> fillBuffer(int file);

    std::string path_;
    std::unique_ptr<Stream> stream_;  ///< closed when there is no other descriptor for the files
    std::vector<Entry> entries_;
    std::string buffer_;  ///< for one file after the other, so that its memory is taken once
};

}  // namespace brellin
