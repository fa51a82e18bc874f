#pragma once

#include "BrellinCore/text/JsonReader.h"

#include <algorithm>
#include <functional>
#include <random>
#include <span>
#include <string_view>

namespace brellin::fuzz {

/// Reads the input in pieces; the input itself decides how large each of them is.
inline bool readInPieces(std::string_view input, std::span<const JsonReader::Member> members) {
    std::minstd_rand random(static_cast<unsigned>(std::hash<std::string_view>()(input)));
    const std::size_t largest = 1 + random() % 40;
    JsonReader reader(members);
    while (!input.empty()) {
        const std::size_t size = std::min<std::size_t>(random() % (largest + 1), input.size());
        reader.feed(input.substr(0, size));
        input.remove_prefix(size);
    }
    return reader.finish();
}

}  // namespace brellin::fuzz
