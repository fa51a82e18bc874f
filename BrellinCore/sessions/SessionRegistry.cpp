#include "BrellinCore/sessions/SessionRegistry.h"

#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/text/JsonReader.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <map>
#include <utility>

namespace brellin::SessionRegistry {

std::optional<SessionRecord> recordInDocument(std::string_view text, const std::string& accountPath) {
    SessionRecord record;
    std::optional<std::string> sessionId;
    std::optional<std::int64_t> pid;
    std::optional<std::int64_t> startedAt;
    const auto members = std::to_array<JsonReader::Member>({{"sessionId", &sessionId},
                                                            {"pid", &pid},
                                                            {"cwd", &record.cwd},
                                                            {"startedAt", &startedAt},
                                                            {"procStart", &record.procStartRaw},
                                                            {"messagingSocketPath", &record.socketPath},
                                                            {"name", &record.name},
                                                            {"nameSource", &record.nameSource},
                                                            {"nameSince", &record.nameSince},
                                                            {"status", &record.reportedStatus},
                                                            {"version", &record.version}});
    using PidLimits = std::numeric_limits<std::int32_t>;
    if (!JsonReader::read(text, members) || !sessionId || !pid || *pid < PidLimits::min() ||
        *pid > PidLimits::max() || !startedAt) {
        return std::nullopt;
    }
    record.sessionId = std::move(*sessionId);
    record.pid = static_cast<std::int32_t>(*pid);
    record.accountPath = accountPath;
    record.startedAt = *startedAt;
    return record;
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
