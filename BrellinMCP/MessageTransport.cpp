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

/// What a line turned out to be.
struct Line {
    bool isBlank = false;
    std::optional<Request> request;
};

Line understand(std::string_view bytes) {
    try {
        std::string repaired;
        if (!Utf8::isValid(bytes)) {
            repaired = Utf8::repaired(bytes);
            bytes = repaired;
        }
        const std::string_view text = Utf8::trimmed(bytes);
        return text.empty() ? Line{.isBlank = true} : Line{.request = decode(text)};
    } catch (const std::bad_alloc&) {
        return {};  // too large to be understood is as good as not JSON
    }
}

}  // namespace

std::optional<Request> MessageTransport::next() {
    while (const auto bytes = lines_.next()) {
        Line line = understand(*bytes);
        if (line.request) {
            return std::move(line.request);
        }
        if (!line.isBlank) {
            writeDiagnostic("line ignored (not JSON, or has no method)");
        }
    }
    return std::nullopt;
}

void MessageTransport::writeReply(const boost::json::value& id, std::string_view outcome,
                                  const boost::json::object& content) {
    std::string text;
    try {
        std::string head = R"({"jsonrpc":"2.0","id":)" + boost::json::serialize(id);
        head.append(",\"").append(outcome).append("\":");
        // A report can be megabytes long: its text is made once and completed in place.
        text = boost::json::serialize(content).insert(0, head).append("}");
    } catch (const std::exception&) {
        return;
    }
    output_.writeAll(text) && output_.writeAll("\n");
}

void MessageTransport::writeDiagnostic(std::string_view text) {
    errors_.writeAll(fmt::format("[havrick-mcp] {}\n", text));
}

}  // namespace brellin
