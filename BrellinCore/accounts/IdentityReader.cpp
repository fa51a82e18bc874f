#include "BrellinCore/accounts/IdentityReader.h"

#include "BrellinCore/platform/FilePath.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/text/Json.h"

namespace brellin::IdentityReader {

std::vector<std::string> candidateFiles(const std::string& configDir, const std::string& home) {
    std::vector<std::string> files = {configDir + "/.claude.json"};
    if (configDir == FilePath::normalize(home + "/.claude")) {
        files.push_back(home + "/.claude.json");
    }
    return files;
}

std::optional<std::string> emailInDocument(std::string_view text) {
    const auto document = Json::parseObject(text);
    if (!document) {
        return std::nullopt;
    }
    const auto* account = Json::objectMember(*document, "oauthAccount");
    const auto* address = account == nullptr ? nullptr : Json::stringMember(*account, "emailAddress");
    if (address == nullptr || address->empty()) {
        return std::nullopt;
    }
    return std::string(std::string_view(*address));
}

std::optional<std::string> email(const std::string& configDir, const std::string& home) {
    for (const std::string& file : candidateFiles(configDir, home)) {
        const auto text = FileSystem::readFile(file);
        if (auto address = text ? emailInDocument(*text) : std::nullopt) {
            return address;
        }
    }
    return std::nullopt;
}

}  // namespace brellin::IdentityReader
