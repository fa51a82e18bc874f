#include "BrellinMCP/MessageTransport.h"

#include "BrellinCore/platform/Json.h"
#include "BrellinCore/platform/Utf8.h"

#include <boost/json/serialize.hpp>
#include <fmt/format.h>

#include <exception>
#include <utility>

namespace brellin {

namespace {

std::optional<Request> decode(std::string_view line) {
    // Anything but an object is refused anyway; this way a hundred megabytes of array cost nothing.
    if (!line.starts_with('{')) {
        return std::nullopt;
    }
    auto message = Json::parseObject(line);
    const auto* method = message ? Json::stringMember(*message, "method") : nullptr;
    if (method == nullptr) {
        return std::nullopt;
    }
    Request request{std::string(std::string_view(*method)), std::nullopt, {}};
    if (auto* id = message->if_contains("id")) {
        request.id = std::move(*id);
    }
    if (auto* params = message->if_contains("params"); params != nullptr && params->is_object()) {
        request.params = std::move(params->get_object());
    }
    return request;
}

}  // namespace

std::optional<Request> MessageTransport::next() {
    while (const auto line = lines_.next()) {
        std::string repaired;
        std::string_view text = *line;
        if (!Utf8::isValid(text)) {
            repaired = Utf8::repaired(text);
            text = repaired;
        }
        text = Utf8::trimmed(text);
        if (text.empty()) {
            continue;
        }
        if (auto request = decode(text)) {
            return request;
        }
        writeDiagnostic("line ignored (not JSON, or has no method)");
    }
    return std::nullopt;
}

void MessageTransport::writeReply(const boost::json::object& reply) {
    std::string text;
    try {
        text = boost::json::serialize(reply);
    } catch (const std::exception&) {
        return;
    }
    output_.writeAll(text) && output_.writeAll("\n");
}

void MessageTransport::writeDiagnostic(std::string_view text) {
    errors_.writeAll(fmt::format("[havrick-mcp] {}\n", text));
}

}  // namespace brellin
