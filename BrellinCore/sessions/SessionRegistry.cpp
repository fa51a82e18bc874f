#include "BrellinCore/sessions/SessionRegistry.h"

#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/platform/Json.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace brellin::SessionRegistry {

namespace {

std::optional<std::string> optionalString(const boost::json::object& object, std::string_view key) {
    const auto* text = Json::stringMember(object, key);
    return text == nullptr ? std::nullopt
                           : std::optional<std::string>(std::in_place, text->data(), text->size());
}

}  // namespace

std::optional<SessionRecord> recordInDocument(std::string_view text, const std::string& accountPath) {
    const auto object = Json::parseObject(text);
    if (!object) {
        return std::nullopt;
    }
    auto sessionId = optionalString(*object, "sessionId");
    const auto pid = Json::wholeNumberMember(*object, "pid");
    const auto startedAt = Json::wholeNumberMember(*object, "startedAt");
    using PidLimits = std::numeric_limits<std::int32_t>;
    if (!sessionId || !pid || *pid < PidLimits::min() || *pid > PidLimits::max() || !startedAt) {
        return std::nullopt;
    }
    return SessionRecord{
        .sessionId = std::move(*sessionId),
        .pid = static_cast<std::int32_t>(*pid),
        .accountPath = accountPath,
        .cwd = optionalString(*object, "cwd"),
        .startedAt = *startedAt,
        .procStartRaw = optionalString(*object, "procStart"),
        .socketPath = optionalString(*object, "messagingSocketPath"),
        .name = optionalString(*object, "name"),
        .nameSource = optionalString(*object, "nameSource"),
        .nameSince = Json::wholeNumberMember(*object, "nameSince"),
        .reportedStatus = optionalString(*object, "status"),
        .version = optionalString(*object, "version"),
    };
}

std::vector<SessionRecord> records(const std::string& accountPath) {
    const std::string directory = accountPath + "/sessions/";
    std::vector<SessionRecord> found;
    for (const std::string& name :
         FileSystem::listDirectory(directory).value_or(std::vector<std::string>())) {
        if (!name.ends_with(".json")) {
            continue;
        }
        const auto text = FileSystem::readFile(directory + name);
        if (auto record = text ? recordInDocument(*text, accountPath) : std::nullopt) {
            found.push_back(std::move(*record));
        }
    }
    std::ranges::stable_sort(found, {}, &SessionRecord::startedAt);
    return found;
}

std::vector<SessionRecord> allRecords(const std::vector<ClaudeAccount>& accounts) {
    std::vector<SessionRecord> all;
    for (const ClaudeAccount& account : accounts) {
        if (account.existsOnDisk) {
            std::ranges::move(records(account.path), std::back_inserter(all));
        }
    }
    return all;
}

}  // namespace brellin::SessionRegistry
