#include "BrellinCLI/views/EventLine.h"

#include "BrellinCLI/facts/JsonFields.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Utf8.h"

#include <fmt/format.h>

namespace brellin::cli::EventLine {

std::string text(const Change& change, std::string_view account) {
    const std::string address =
        fmt::format("{} [{}]", change.name.value_or("unnamed"), change.ref.value_or("?"));
    return Utf8::printable(fmt::format("{} {} {} · {} · {}", DateText::timestampLocal(change.event.at),
                                       change.event.kind, address, account, change.sessionId));
}

boost::json::object json(const Change& change, std::string_view account) {
    boost::json::object facts = toJson(change.event);
    facts["sessionId"] = change.sessionId;
    facts["accountPath"] = change.accountPath;
    facts["accountLabel"] = account;
    addIfPresent(facts, "name", change.name);
    addIfPresent(facts, "ref", change.ref);
    return facts;
}

}  // namespace brellin::cli::EventLine
