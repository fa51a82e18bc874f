#include "BrellinCore/accounts/IdentityReader.h"

#include "BrellinCore/platform/FilePath.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/text/JsonReader.h"

#include <array>

namespace brellin::IdentityReader {

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

std::optional<std::string> emailInFile(const std::string& path) {
    const auto file = FileSystem::openFile(path);
    if (!file) {
        return std::nullopt;
    }
    std::optional<std::string> address;
    const auto members = std::to_array<JsonReader::Member>({{"emailAddress", &address, "oauthAccount"}});
    JsonReader reader(members);
    const bool isFound = readInPieces(*file, reader) && address && !address->empty();
    return isFound ? address : std::nullopt;
}

}  // namespace

std::vector<std::string> candidateFiles(const std::string& configDir, const std::string& home) {
    std::vector<std::string> files = {configDir + "/.claude.json"};
    if (configDir == FilePath::normalize(home + "/.claude")) {
        files.push_back(home + "/.claude.json");
    }
    return files;
}

std::optional<std::string> email(const std::string& configDir, const std::string& home) {
    for (const std::string& file : candidateFiles(configDir, home)) {
        if (auto address = emailInFile(file)) {
            return address;
        }
    }
    return std::nullopt;
}

}  // namespace brellin::IdentityReader
