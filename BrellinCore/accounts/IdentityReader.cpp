#include "BrellinCore/accounts/IdentityReader.h"

#include "BrellinCore/accounts/JsonFile.h"
#include "BrellinCore/platform/FilePath.h"

#include <array>

namespace brellin::IdentityReader {

namespace {

std::optional<std::string> emailInFile(const std::string& path) {
    std::optional<std::string> address;
    const auto members = std::to_array<JsonReader::Member>({{"emailAddress", &address, "oauthAccount"}});
    const bool isFound = readJsonFile(path, members) && address && !address->empty();
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
