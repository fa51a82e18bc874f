#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Json.h"
#include "BrellinCore/text/Utf8.h"
#include "fuzz/Target.h"

#include <boost/json/serialize.hpp>

namespace brellin {

namespace {

namespace json = boost::json;
using fuzz::require;

const std::string accountPath = "/home/ana/.claude";

void feedDocument(std::string_view text) {
    const auto document = Json::parse(text);
    if (!document) {
        return;
    }
    require(Utf8::isValid(text), "JSON is UTF-8");
    require(Json::parse(json::serialize(*document)) == document,
            "a document that is written out is read as the same");
}

template <typename Value>
void addPresent(json::object& object, std::string_view key, const std::optional<Value>& value) {
    if (value) {
        object[key] = *value;
    }
}

std::string documentOf(const SessionRecord& record) {
    json::object object = {
        {"sessionId", record.sessionId}, {"pid", record.pid}, {"startedAt", record.startedAt}};
    addPresent(object, "cwd", record.cwd);
    addPresent(object, "procStart", record.procStartRaw);
    addPresent(object, "messagingSocketPath", record.socketPath);
    addPresent(object, "name", record.name);
    addPresent(object, "nameSource", record.nameSource);
    addPresent(object, "nameSince", record.nameSince);
    addPresent(object, "status", record.reportedStatus);
    addPresent(object, "version", record.version);
    return json::serialize(object);
}

}  // namespace

void fuzz::feed(std::string_view input) {
    feedDocument(input);
    const auto record = SessionRegistry::recordInDocument(input, accountPath);
    if (!record) {
        return;
    }
    require(SessionRegistry::recordInDocument(documentOf(*record), accountPath) == record,
            "a session that is written out is read as the same");
    require(!DateText::timestampUTC(record->startedAt).empty(), "a start time can be shown");
    const auto ref = record->peerRef();
    require(
        ref.has_value() == record->socketPath.has_value() &&
            (!ref || (ref->size() == 6 && ref->find_first_not_of("0123456789abcdef") == std::string::npos)),
        "a session with a socket, and no other, has a short address");
    require(record->peerAddress().has_value() == (ref && record->name),
            "a session with a name and a short address, and no other, has an address");
}

}  // namespace brellin
