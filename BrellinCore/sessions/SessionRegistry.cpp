#include "BrellinCore/sessions/SessionRegistry.h"

#include "BrellinCore/platform/Directory.h"
#include "BrellinCore/text/JsonReader.h"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>
#include <utility>

namespace brellin::SessionRegistry {

namespace {

/// Fills a new record; false when the text declares none.
bool readRecord(std::string_view text, const std::string& accountPath, SessionRecord& record) {
    std::optional<std::string> sessionId;
    std::optional<std::int64_t> pid;
    std::optional<std::int64_t> startedAt;
    // In the order in which sessions write them.
    const auto members = std::to_array<JsonReader::Member>({{"sessionId", &sessionId},
                                                            {"pid", &pid},
                                                            {"cwd", &record.cwd},
                                                            {"startedAt", &startedAt},
                                                            {"procStart", &record.procStartRaw},
                                                            {"version", &record.version},
                                                            {"messagingSocketPath", &record.socketPath},
                                                            {"name", &record.name},
                                                            {"nameSource", &record.nameSource},
                                                            {"nameSince", &record.nameSince},
                                                            {"status", &record.reportedStatus}});
    using PidLimits = std::numeric_limits<std::int32_t>;
    if (!JsonReader::read(text, members) || !sessionId || !pid || *pid < PidLimits::min() ||
        *pid > PidLimits::max() || !startedAt) {
        return false;
    }
    record.sessionId = std::move(*sessionId);
    record.pid = static_cast<std::int32_t>(*pid);
    record.accountPath = accountPath;
    record.startedAt = *startedAt;
    return true;
}

/// The places of the records, oldest first; those that started at the same time stay in order.
std::vector<std::size_t> oldestFirst(const std::vector<SessionRecord>& records) {
    std::vector<std::size_t> places(records.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    std::ranges::sort(places, {},
                      [&](std::size_t place) { return std::pair(records[place].startedAt, place); });
    return places;
}

void append(std::vector<SessionRecord>& all, const std::string& accountPath) {
    auto directory = Directory::open(accountPath + "/sessions");
    if (!directory) {
        return;
    }
    std::vector<SessionRecord> found;
    found.reserve(directory->entries().size());
    for (const Directory::Entry& entry : directory->entries()) {
        const auto text = entry.name.ends_with(".json") ? directory->read(entry) : std::nullopt;
        // A record is large, and so it is made where it stays.
        if (text && !readRecord(*text, accountPath, found.emplace_back())) {
            found.pop_back();
        }
    }
    if (all.empty()) {
        all.reserve(found.size());
    }
    for (const std::size_t place : oldestFirst(found)) {
        all.push_back(std::move(found[place]));
    }
}

}  // namespace

std::optional<SessionRecord> recordInDocument(std::string_view text, const std::string& accountPath) {
    std::optional<SessionRecord> record(std::in_place);
    if (!readRecord(text, accountPath, *record)) {
        record.reset();
    }
    return record;
}

std::vector<SessionRecord> records(const std::string& accountPath) {
    std::vector<SessionRecord> found;
    append(found, accountPath);
    return found;
}

std::vector<SessionRecord> allRecords(const std::vector<ClaudeAccount>& accounts) {
    std::vector<SessionRecord> all;
    for (const ClaudeAccount& account : accounts) {
        if (account.existsOnDisk) {
            append(all, account.path);
        }
    }
    return all;
}

}  // namespace brellin::SessionRegistry
