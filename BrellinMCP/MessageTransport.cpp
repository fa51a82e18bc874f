#include "BrellinMCP/MessageTransport.h"

#include "BrellinCore/text/Json.h"
#include "BrellinCore/text/Utf8.h"

#include <boost/json/serialize.hpp>
#include <fmt/format.h>

#include <exception>
#include <new>
#include <utility>

namespace brellin {

std::optional<Request> MessageTransport::next() {
    releaseMessage();
    while (const auto line = lines_.next()) {
        const Message message = line->isTruncated ? Message{} : parse(line->text);
        if (message.request) {
            return message.request;
        }
        if (!message.isBlank) {
            writeDiagnostic("line ignored (not JSON, or has no method)");
        }
        releaseMessage();
    }
    return std::nullopt;
}

MessageTransport::Message MessageTransport::parse(std::string_view bytes) {
    try {
        std::string repaired;
        if (!Utf8::isValid(bytes)) {
            repaired = Utf8::repaired(bytes);
            bytes = repaired;
        }
        const std::string_view text = Utf8::trimmed(bytes);
        return text.empty() ? Message{.isBlank = true} : Message{.request = decode(text)};
    } catch (const std::bad_alloc&) {
        return {};  // too large to be understood is as good as not JSON
    }
}

std::optional<Request> MessageTransport::decode(std::string_view text) {
    // Anything but an object is refused anyway; this way a hundred megabytes of array cost nothing.
    if (!text.starts_with('{')) {
        return std::nullopt;
    }
    message_ = Json::parseObject(text, &memory_);
    const auto* method = message_ ? Json::stringMember(*message_, "method") : nullptr;
    if (method == nullptr) {
        return std::nullopt;
    }
    const auto* params = Json::objectMember(*message_, "params");
    return Request{*method, message_->if_contains("id"), params != nullptr ? params : &noParams_};
}

/// Gives the memory of the last message back before the wait for the next one.
void MessageTransport::releaseMessage() {
    message_.reset();
    memory_.release();
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
