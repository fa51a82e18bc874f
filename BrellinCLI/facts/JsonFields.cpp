#include "BrellinCLI/facts/JsonFields.h"

#include "BrellinCLI/views/Output.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Utf8.h"

#include <boost/json/serialize.hpp>

#include <string>

namespace brellin::cli {

void addTime(boost::json::object& object, std::string_view key, std::int64_t time) {
    object[key] = time;
    object[std::string(key) + "Time"] = DateText::timestampRFC3339(time);
}

boost::json::object toJson(const StoredEvent& event) {
    boost::json::object facts;
    addTime(facts, "at", event.at);
    facts["kind"] = event.kind;
    facts["certainty"] = event.certainty;
    addIfPresent(facts, "detail", event.detail);
    return facts;
}

boost::json::object toJson(const HistoryReader::Entry& entry) {
    boost::json::object facts = {{"sessionId", entry.sessionId}, {"accountPath", entry.accountPath}};
    addIfPresent(facts, "accountLabel", entry.accountLabel);
    addIfPresent(facts, "cwd", entry.cwd);
    if (entry.startedAt) {
        addTime(facts, "startedAt", *entry.startedAt);
    }
    addTime(facts, "firstSeen", entry.firstSeen);
    addTime(facts, "lastSeen", entry.lastSeen);
    addIfPresent(facts, "name", entry.name);
    addIfPresent(facts, "ref", entry.ref);
    facts["state"] = entry.state;
    facts["eventCount"] = entry.eventCount;
    return facts;
}

boost::json::object toJson(const NameWindow& window) {
    boost::json::object facts = {{"name", window.name}};
    addIfPresent(facts, "ref", window.ref);
    addTime(facts, "from", window.from);
    if (window.to) {
        addTime(facts, "to", *window.to);
    }
    return facts;
}

boost::json::object toJson(const HistoryReader::Look& look) {
    boost::json::object facts;
    addTime(facts, "at", look.at);
    facts["pid"] = look.pid;
    facts["state"] = look.state;
    facts["method"] = look.method;
    addIfPresent(facts, "reportedStatus", look.reportedStatus);
    return facts;
}

void printDocument(const boost::json::object& document) {
    // Names on disk may be any bytes; what a script reads must be JSON.
    print(Utf8::repaired(boost::json::serialize(document)));
}

}  // namespace brellin::cli
