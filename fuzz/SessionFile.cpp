#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/JsonReader.h"
#include "fuzz/JsonDocument.h"
#include "fuzz/Pieces.h"
#include "fuzz/Target.h"

#include <boost/json/serialize.hpp>

#include <array>

namespace brellin {

namespace {

namespace json = boost::json;
using fuzz::require;
namespace JsonDocument = fuzz::JsonDocument;

const std::string accountPath = "/home/ana/.claude";

/// The record of the document that the text is.
std::optional<SessionRecord> expectedRecord(std::string_view text) {
    const auto document = JsonDocument::parse(text);
    const auto string = [&](const char* path) {
        return JsonDocument::text(JsonDocument::at(document, path));
    };
    const auto number = [&](const char* path) {
        return JsonDocument::wholeNumber(JsonDocument::at(document, path));
    };
    const auto sessionId = string("/sessionId");
    const auto pid = number("/pid");
    const auto startedAt = number("/startedAt");
    if (!sessionId || !pid || static_cast<std::int32_t>(*pid) != *pid || !startedAt) {
        return std::nullopt;
    }
    return SessionRecord{*sessionId,
                         static_cast<std::int32_t>(*pid),
                         accountPath,
                         string("/cwd"),
                         *startedAt,
                         string("/procStart"),
                         string("/messagingSocketPath"),
                         string("/name"),
                         string("/nameSource"),
                         number("/nameSince"),
                         string("/status"),
                         string("/version")};
}

struct SomeMembers {
    std::optional<std::int64_t> pid;
    std::optional<std::string> name;
    std::optional<JsonReader::Source> status;

    friend bool operator==(const SomeMembers&, const SomeMembers&) = default;
};

/// A member of each type, from the text as a whole and from its pieces.
void feedInPieces(std::string_view text) {
    const auto membersOf = [](SomeMembers& some) {
        return std::to_array<JsonReader::Member>(
            {{"pid", &some.pid}, {"name", &some.name}, {"status", &some.status}});
    };
    SomeMembers whole;
    SomeMembers joined;
    require(JsonReader::read(text, membersOf(whole)) == fuzz::readInPieces(text, membersOf(joined)),
            "pieces are refused for the same reasons");
    require(whole == joined, "pieces hold the same members");
    const auto document = JsonDocument::parse(text);
    const json::value* status =
        document && document->is_object() ? JsonDocument::at(document, "/status") : nullptr;
    require(whole.status.has_value() == (status != nullptr), "any value is one that can be kept");
    require(!status || JsonDocument::parse(whole.status->text) == *status, "a value is kept as it is");
    require(!status || whole.status->text.find_first_of("\n\r") == std::string::npos,
            "it stays on one line");
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
    feedInPieces(input);
    const auto record = SessionRegistry::recordInDocument(input, accountPath);
    require(record == expectedRecord(input), "a session is what its document says");
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
