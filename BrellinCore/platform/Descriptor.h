#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace brellin {

/// An open file descriptor that is closed with its owner.
class Descriptor {
  public:
    /// Takes ownership; a negative number (what a failed open returns) makes an object that is not open.
    explicit Descriptor(int number = -1) noexcept : number_(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    bool isOpen() const noexcept { return number_ >= 0; }
    int get() const noexcept { return number_; }
    void close() noexcept;

    /// One read of at most `size` bytes, repeated when a signal interrupts it and waited for when the
    /// descriptor does not block. 0 means end of file, nullopt an error.
    std::optional<std::size_t> readSome(char* buffer, std::size_t size) const;

    /// Writes all bytes, completing partial writes; usually a single system call. False when the other
    /// side is gone or the write failed otherwise; some of the bytes may then have been written.
    bool writeAll(std::string_view bytes) const;

  private:
    int number_;
};

}  // namespace brellin
