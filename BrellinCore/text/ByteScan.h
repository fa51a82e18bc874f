#pragma once

#include <algorithm>
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

/// @param marks the high bit of every byte of a word that is looked for; bits behind the first may be wrong
/// @return where the first one stands; the text's size when there is none
template <typename Marks>
std::size_t find(std::string_view text, Marks marks) {
    std::size_t place = 0;
    for (; text.size() - place >= sizeof(Word); place += sizeof(Word)) {
        Word bytes = 0;
        std::memcpy(&bytes, text.data() + place, sizeof(bytes));
        // Which byte of a word comes first depends on the processor; elsewhere the loop below looks.
        const Word found = marks(bytes) & eachByte(0x80);
        if (found != 0 && std::endian::native != std::endian::little) {
            break;
        }
        if (found != 0) {
            return place + static_cast<std::size_t>(std::countr_zero(found)) / 8;
        }
    }
    const auto isMarked = [&](char byte) {
        // The other bytes are ones that nobody looks for.
        const Word bytes = (eachByte('a') & ~Word{0xFF}) | static_cast<unsigned char>(byte);
        return (marks(bytes) & 0x80U) != 0;
    };
    const auto rest = text.substr(place);
    return place + static_cast<std::size_t>(std::ranges::find_if(rest, isMarked) - rest.begin());
}

/// The bytes that are not ASCII.
constexpr Word nonAscii(Word bytes) {
    return bytes;
}

/// The bytes that end the unescaped part of a JSON string, and may be those that are not ASCII: quotes,
/// backslashes, control characters. A difference borrows from what stands behind, so only the first is
/// sure.
constexpr Word endsOrNonAscii(Word bytes) {
    const Word quotes = (bytes ^ eachByte('"')) - eachByte(1);
    const Word backslashes = (bytes ^ eachByte('\\')) - eachByte(1);
    const Word controls = bytes - eachByte(' ');
    return bytes | quotes | backslashes | controls;
}

/// The same without what is not ASCII.
constexpr Word ends(Word bytes) {
    return endsOrNonAscii(bytes) & ~bytes;
}

}  // namespace ByteScan

}  // namespace brellin
