#include "BrellinCore/store/Observation.h"

#include "BrellinCore/store/Statements.h"
#include "BrellinCore/text/Decimal.h"

#include <utility>

namespace brellin {

namespace {

/// Reads the columns observedAt, pid, liveness, livenessMethod, reportedStatus.
LastObservation observationIn(Database::Row& row) {
    return {{parseDecimal<std::int32_t>(row[1].value_or("")).value_or(0), std::move(row[2]).value_or(""),
             std::move(row[3]).value_or(""), std::move(row[4])},
            parseDecimal<std::int64_t>(row[0].value_or("")).value_or(0)};
}

}  // namespace

std::optional<LastObservation> LastObservation::of(const Database& history, const std::string& id,
                                                   std::int64_t now) {
    auto rows = history.rows(Statements::lastObservation, {id, now});
    return rows.empty() ? std::nullopt : std::optional(observationIn(rows.front()));
}

std::map<std::string, LastObservation> LastObservation::ofDeclared(const Database& history,
                                                                   std::int64_t now) {
    std::map<std::string, LastObservation> last;
    history.forEachRow(Statements::lastObservations, {now}, [&](Database::Row& row) {
        last.emplace(std::move(row[5]).value_or(""), observationIn(row));
    });
    return last;
}

}  // namespace brellin
