#include "BrellinCore/sessions/SessionRegistry.h"

#include "BrellinCore/platform/Directory.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/text/JsonReader.h"

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <limits>
#include <tuple>
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

/// Where a record is among those that were read, and what decides where it belongs.
struct Place {
    std::int64_t startedAt;
    std::string_view fileName;
    std::size_t index;

    friend bool operator<(const Place& left, const Place& right) {
        return std::tie(left.startedAt, left.fileName) < std::tie(right.startedAt, right.fileName);
    }
};

}  // namespace

std::optional<SessionRecord> recordInDocument(std::string_view text, const std::string& accountPath) {
    std::optional<SessionRecord> record(std::in_place);
    if (!readRecord(text, accountPath, *record)) {
        record.reset();
    }
    return record;
}

Survey survey(const std::string& accountPath) {
    const std::string path = accountPath + "/sessions";
    auto directory = Directory::open(path);
    if (!directory) {
        return {.isListed = FileSystem::isMissing(path)};
    }
    Survey survey;
    std::vector<SessionRecord> found;
    std::vector<Place> places;
    found.reserve(directory->entries().size());
    places.reserve(directory->entries().size());
    for (const Directory::Entry& entry : directory->entries()) {
        if (!entry.name.ends_with(".json")) {
            continue;
        }
        const auto text = directory->read(entry);
        // A record is large, and so it is made where it stays.
        if (text && readRecord(*text, accountPath, found.emplace_back())) {
            places.push_back({found.back().startedAt, entry.name, places.size()});
        } else {
            found.resize(places.size());
            survey.filesWithoutOne.push_back(path + "/" + entry.name);
        }
    }
    std::ranges::sort(places, std::less());
    survey.records.reserve(found.size());
    for (const Place& place : places) {
        survey.records.push_back(std::move(found[place.index]));
    }
    return survey;
}

std::vector<SessionRecord> records(const std::string& accountPath) {
    return survey(accountPath).records;
}

std::vector<SessionRecord> allRecords(const std::vector<ClaudeAccount>& accounts) {
    std::vector<SessionRecord> all;
    for (const ClaudeAccount& account : accounts) {
        if (!account.existsOnDisk) {
            continue;
        }
        std::vector<SessionRecord> found = records(account.path);
        if (all.empty()) {
            all = std::move(found);
        } else {
            std::ranges::move(found, std::back_inserter(all));
        }
    }
    return all;
}

}  // namespace brellin::SessionRegistry
