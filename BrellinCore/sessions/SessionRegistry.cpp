#include "BrellinCore/sessions/SessionRegistry.h"

#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/text/Json.h"

#include <boost/json/monotonic_resource.hpp>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <map>
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
    // The document lives for this call only: its many small pieces lie side by side and go away at once.
    std::array<unsigned char, 4096> room;
    boost::json::monotonic_resource memory(room.data(), room.size());
    const auto object = Json::parseObject(text, &memory);
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
    // Sessions that started at the same time stay in the order of insertion, that of the file names.
    std::multimap<std::int64_t, SessionRecord> byStart;
    for (const std::string& name :
         FileSystem::listDirectory(directory).value_or(std::vector<std::string>())) {
        if (!name.ends_with(".json")) {
            continue;
        }
        const auto text = FileSystem::readFile(directory + name);
        if (auto record = text ? recordInDocument(*text, accountPath) : std::nullopt) {
            byStart.emplace(record->startedAt, std::move(*record));
        }
    }
    std::vector<SessionRecord> found;
    found.reserve(byStart.size());
    for (auto& [startedAt, record] : byStart) {
        found.push_back(std::move(record));
    }
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
