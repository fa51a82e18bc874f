#include "BrellinCore/accounts/JsonFile.h"

#include "BrellinCore/platform/FileSystem.h"

#include <algorithm>
#include <array>

namespace brellin {

namespace {

/// False when the file cannot be read to its end, or the reader refuses it.
bool readInPieces(const Descriptor& file, JsonReader& reader) {
    std::array<char, std::size_t{64} << 10U> piece;
    for (;;) {
        const auto size = file.readSome(piece.data(), piece.size());
        if (!size || (*size > 0 && !reader.feed({piece.data(), *size}))) {
            return false;
        }
        if (*size == 0) {
            return reader.finish();
        }
    }
}

}  // namespace

bool readJsonFile(const std::string& path, std::span<const JsonReader::Member> members) {
    const auto file = FileSystem::openFile(path);
    if (file) {
        JsonReader reader(members);
        if (readInPieces(*file, reader)) {
            return true;
        }
    }
    std::ranges::for_each(members, &JsonReader::Member::clear);
    return false;
}

}  // namespace brellin
