#include "BrellinMCP/MessageTransport.h"

#include "BrellinCore/platform/Json.h"
#include "BrellinCore/platform/Utf8.h"

#include <boost/json/serialize.hpp>
#include <fmt/format.h>

#include <exception>
#include <new>
#include <utility>

namespace brellin {

namespace {

constexpr std::string_view ignoredLine = "line ignored (not JSON, or has no method)";

std::optional<Request> decode(std::string_view text) {
    // Anything but an object is refused anyway; this way a hundred megabytes of array cost nothing.
    if (!text.starts_with('{')) {
        return std::nullopt;
    }
    auto message = Json::parseObject(text);
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

/// The text between the white space of a line; `repaired` holds it when the line was not UTF-8.
std::string_view textOf(std::string_view line, std::string& repaired) {
    if (!Utf8::isValid(line)) {
        repaired = Utf8::repaired(line);
        line = repaired;
    }
    return Utf8::trimmed(line);
}

}  // namespace

std::optional<Request> MessageTransport::next() {
    while (const auto line = lines_.next()) {
        try {
            std::string repaired;
            const std::string_view text = textOf(*line, repaired);
            if (text.empty()) {
                continue;
            }
            if (auto request = decode(text)) {
                return request;
            }
        } catch (const std::bad_alloc&) {
            // Too large to be understood is as good as not JSON, and is told as that.
            writeDiagnostic(ignoredLine);
            continue;
        }
        writeDiagnostic(ignoredLine);
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
