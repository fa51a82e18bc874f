#pragma once

#include "BrellinCore/store/HistoryReader.h"

#include <boost/json/object.hpp>

#include <cstdint>
#include <optional>
#include <string_view>

namespace brellin::cli {

/// Adds a fact under its name; an absent one is left out.
template <typename Value>
void addIfPresent(boost::json::object& object, std::string_view key, const std::optional<Value>& value) {
    if (value) {
        object[key] = *value;
    }
}

/// A point in time, twice: under its name in milliseconds since the Unix epoch, and behind "Time" as RFC
/// 3339.
void addTime(boost::json::object& object, std::string_view key, std::int64_t time);

/// "at", "atTime", "kind", "certainty" and, where there is one, "detail".
boost::json::object toJson(const StoredEvent& event);

/// "name", "from", "fromTime" and, where they are there, "ref", "to" and "toTime".
boost::json::object toJson(const NameWindow& window);

/// The fields of the entry; of a time the name with "Time" behind it as well.
boost::json::object toJson(const HistoryReader::Entry& entry);

/// "at", "atTime", "pid", "state", "method" and, where there is one, "reportedStatus".
boost::json::object toJson(const HistoryReader::Look& look);

/// Writes one document, and a line feed, to standard output.
void printDocument(const boost::json::object& document);

}  // namespace brellin::cli
