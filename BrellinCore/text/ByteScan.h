#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace brellin {

/// Searches for the few bytes that matter in texts that have hardly any of them, eight bytes at a time.
namespace ByteScan {

using Word = std::uint64_t;

constexpr Word eachByte(unsigned char byte) {
    return Word{0x0101010101010101} * byte;
}

/// The first of eight bytes is the lowest of their word.
inline constexpr bool lowestIsFirst = std::endian::native == std::endian::little;

/// @param marks the high bit of every byte of a word that is looked for; bits behind the first may be wrong
/// @return where the first one stands; `end` when there is none
template <typename Marks>
const char* find(const char* next, const char* end, Marks marks) {
    // Where the highest byte is the first, each byte is looked at alone, since the first mark is the
    // lowest.
    constexpr std::ptrdiff_t step = lowestIsFirst ? sizeof(Word) : 1;
    Word word = eachByte('a');  // which nobody looks for
    for (; end - next >= step; next += step) {
        std::memcpy(&word, next, step);
        if (const Word found = marks(word) & eachByte(0x80); found != 0) {
            return next + (lowestIsFirst ? std::countr_zero(found) / 8 : 0);
        }
    }
    word = eachByte('a');
    for (; next != end; ++next) {
        std::memcpy(&word, next, 1);
        if ((marks(word) & eachByte(0x80)) != 0) {
            break;
        }
    }
    return next;
}

/// The same in a text; its size when there is none.
template <typename Marks>
std::size_t find(std::string_view text, Marks marks) {
    return static_cast<std::size_t>(find(text.data(), text.data() + text.size(), marks) - text.data());
}

// What `find` can look for. These are objects and no functions, so that the search for each is compiled by
// itself.

/// The bytes that are not ASCII.
inline constexpr auto nonAscii = [](Word bytes) { return bytes; };

/// The bytes that end the unescaped part of a JSON string, and those that are not ASCII: quotes,
/// backslashes, control characters. A difference borrows from what stands behind, so only the first is
/// sure.
inline constexpr auto endsOrNonAscii = [](Word bytes) {
    const Word quotes = (bytes ^ eachByte('"')) - eachByte(1);
    const Word backslashes = (bytes ^ eachByte('\\')) - eachByte(1);
    const Word controls = bytes - eachByte(' ');
    return bytes | quotes | backslashes | controls;
};

/// The same without what is not ASCII.
inline constexpr auto ends = [](Word bytes) { return endsOrNonAscii(bytes) & ~bytes; };

}  // namespace ByteScan

}  // namespace brellin
