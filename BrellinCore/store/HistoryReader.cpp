#include "BrellinCore/store/HistoryReader.h"

#include "BrellinCore/store/Statements.h"
#include "BrellinCore/text/Decimal.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace brellin {

namespace {

std::int64_t numberIn(const std::optional<std::string>& column) {
    return parseDecimal<std::int64_t>(column.value_or("")).value_or(0);
}

std::optional<std::int64_t> numberOrNull(const std::optional<std::string>& column) {
    return column ? parseDecimal<std::int64_t>(*column) : std::nullopt;
}

Database::Value valueOf(const std::optional<std::int64_t>& number) {
    return number ? Database::Value(*number) : Database::Value(std::nullopt);
}

/// SQLite takes a negative limit for none.
std::int64_t limitOf(const HistoryReader::Filter& filter) {
    return filter.limit.value_or(-1);
}

HistoryReader::Entry entryIn(Database::Row& row) {
    return {.sessionId = row[0].value_or(""),
            .accountPath = row[1].value_or(""),
            .accountLabel = std::move(row[2]),
            .cwd = std::move(row[3]),
            .startedAt = numberOrNull(row[4]),
            .firstSeen = numberIn(row[5]),
            .lastSeen = numberIn(row[6]),
            .name = std::move(row[7]),
            .ref = std::move(row[8]),
            .state = row[9].value_or("unknown"),
            .eventCount = numberIn(row[10])};
}

}  // namespace

HistoryReader::HistoryReader(const std::filesystem::path& database, Database::Access access)
    : database_(database, access) {
    requireTables();
}

void HistoryReader::requireTables() const {
    std::vector<std::string> missing = {"accounts", "sessions", "names", "observations", "events"};
    const std::size_t all = missing.size();
    bool isEmpty = true;
    try {
        database_.forEachRow(Statements::tableNames, {}, [&](Database::Row& row) {
            isEmpty = false;
            std::erase(missing, row[0].value_or(""));
        });
    } catch (const StoreError& failure) {
        throw StoreError(StoreError::Case::open, failure.message());
    }
    if (isEmpty) {
        throw StoreError(StoreError::Case::open, "it is empty");
    }
    if (missing.size() == all) {
        throw StoreError(StoreError::Case::open, "it is a database of another program");
    }
    if (!missing.empty()) {
        throw StoreError(StoreError::Case::open, fmt::format("its table {} is missing", missing.front()));
    }
}

std::string HistoryReader::selectEntry() const {
    const bool hasDeclared = database_.number(Statements::hasChronicleTables).has_value();
    return fmt::format(fmt::runtime(Statements::historyEntry),
                       hasDeclared ? Statements::declaredState : Statements::formerState);
}

std::vector<HistoryReader::Entry> HistoryReader::entries(const Filter& filter) const {
    std::vector<Entry> entries;
    const std::string sql = selectEntry() + Statements::whereFilterFits;
    database_.forEachRow(
        sql.c_str(),
        {valueOf(filter.since), valueOf(filter.until), filter.account, filter.kind, limitOf(filter)},
        [&](Database::Row& row) { entries.push_back(entryIn(row)); });
    return entries;
}

std::optional<HistoryReader::Entry> HistoryReader::entry(const std::string& id) const {
    std::optional<Entry> entry;
    const std::string sql = selectEntry() + Statements::whereIdIs;
    database_.forEachRow(sql.c_str(), {id}, [&](Database::Row& row) { entry = entryIn(row); });
    return entry;
}

std::vector<std::string> HistoryReader::idsOf(const std::string& word) const {
    if (!database_.rows(Statements::sessionRow, {word}).empty()) {
        return {word};
    }
    std::vector<std::string> ids;
    database_.forEachRow(Statements::idsOfWord, {word},
                         [&](Database::Row& row) { ids.push_back(row[0].value_or("")); });
    return ids;
}

std::vector<StoredEvent> HistoryReader::events(const std::string& id, const Filter& filter) const {
    std::vector<StoredEvent> events;
    database_.forEachRow(Statements::historyEvents,
                         {id, valueOf(filter.since), valueOf(filter.until), filter.kind, limitOf(filter)},
                         [&](Database::Row& row) {
                             events.push_back({numberIn(row[0]), row[1].value_or(""), std::move(row[2]),
                                               row[3].value_or("")});
                         });
    std::ranges::reverse(events);
    return events;
}

std::vector<NameWindow> HistoryReader::names(const std::string& id, const Filter& filter) const {
    std::vector<NameWindow> windows;
    database_.forEachRow(Statements::historyNames,
                         {id, valueOf(filter.since), valueOf(filter.until), limitOf(filter)},
                         [&](Database::Row& row) {
                             windows.push_back({row[0].value_or(""), std::move(row[1]), numberIn(row[2]),
                                                numberOrNull(row[3])});
                         });
    std::ranges::reverse(windows);
    return windows;
}

std::vector<HistoryReader::Look> HistoryReader::looks(const std::string& id, const Filter& filter) const {
    std::vector<Look> looks;
    database_.forEachRow(Statements::historyLooks,
                         {id, valueOf(filter.since), valueOf(filter.until), limitOf(filter)},
                         [&](Database::Row& row) {
                             looks.push_back({numberIn(row[0]), numberIn(row[1]), row[2].value_or(""),
                                              row[3].value_or(""), std::move(row[4])});
                         });
    std::ranges::reverse(looks);
    return looks;
}

HistoryReader::Extent HistoryReader::extent() const {
    Extent extent;
    database_.forEachRow(Statements::historyExtent, {}, [&](Database::Row& row) {
        extent = {.sessions = numberIn(row[0]),
                  .names = numberIn(row[1]),
                  .observations = numberIn(row[2]),
                  .events = numberIn(row[3]),
                  .oldestObservation = numberOrNull(row[4]),
                  .lastRound = numberOrNull(row[5]),
                  .lastWatchRound = numberOrNull(row[6])};
    });
    return extent;
}

std::vector<std::string> HistoryReader::damages() const {
    std::vector<std::string> damages;
    database_.forEachRow(Statements::quickCheck, {}, [&](Database::Row& row) {
        if (row[0] != "ok") {
            damages.push_back(row[0].value_or(""));
        }
    });
    return damages;
}

}  // namespace brellin
