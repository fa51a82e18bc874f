#include "BrellinMCP/MessageTransport.h"

#include "BrellinCore/server/MCPServer.h"
#include "BrellinCore/text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace brellin {

MessageTransport::MessageTransport(const Descriptor& input, const Descriptor& output,
                                   const Descriptor& errors)
    : lines_(input), output_(output), errors_(errors) {
    members_ = {{"method", &request_.method},
                {"id", &request_.id},
                {"protocolVersion", &request_.protocolVersion, "params"},
                {"name", &request_.tool, "params"}};
    for (const std::string_view name : MCPServer::argumentNames()) {
        const auto argument = request_.arguments.emplace(name, std::nullopt).first;
        members_.push_back({argument->first, &argument->second, "params.arguments"});
    }
}

const Request* MessageTransport::next() {
    // The wait for the next request may be long, and the last one large.
    std::ranges::for_each(members_, &JsonReader::Member::clear);
    while (const auto line = lines_.next()) {
        const LineKind kind = read(*line);
        if (kind == LineKind::request) {
            return &request_;
        }
        if (kind == LineKind::other) {
            writeDiagnostic("line ignored (not JSON, or has no method)");
        }
    }
    return nullptr;
}

MessageTransport::LineKind MessageTransport::read(const LineReader::Line& line) try {
    const std::string_view text = Utf8::trimmed(line.text);
    if (line.isTruncated) {
        return LineKind::other;
    }
    if (text.empty()) {
        return LineKind::blank;
    }
    // JSON is UTF-8, so only a line that is refused can be in need of repair.
    const bool isRequest = decode(text) || (!Utf8::isValid(text) && decode(Utf8::repaired(text)));
    return isRequest ? LineKind::request : LineKind::other;
} catch (const std::bad_alloc&) {
    return LineKind::other;  // too large to be repaired is as good as not JSON
}

bool MessageTransport::decode(std::string_view text) {
    return JsonReader::read(text, members_) && request_.method;
}

void MessageTransport::writeReply(const JsonReader::Source& id, std::string_view outcome,
                                  std::string content) {
    try {
        std::string head = R"({"jsonrpc":"2.0","id":)" + id.text;
        head.append(",\"").append(outcome).append("\":");
        // A report can be megabytes long: its text is completed in place.
        content.insert(0, head).append("}");
    } catch (const std::exception&) {
        return;
    }
    output_.writeAll(content) && output_.writeAll("\n");
}

void MessageTransport::writeDiagnostic(std::string_view text) {
    errors_.writeAll(fmt::format("[havrick-mcp] {}\n", text));
}

}  // namespace brellin
