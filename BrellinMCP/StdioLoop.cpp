#include "BrellinMCP/StdioLoop.h"

#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/server/Paths.h"
#include "BrellinCore/text/JsonText.h"

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <fmt/format.h>

#include <exception>
#include <new>
#include <string>
#include <utility>

namespace brellin {

namespace json = boost::json;

namespace {

/// Room for what stands around a text in a reply.
constexpr std::size_t largestHead = 256;

json::object argumentsOf(const Request& request) {
    json::object arguments;
    for (const auto& [name, value] : request.arguments) {
        if (value) {
            arguments[name] = *value;
        }
    }
    return arguments;
}

}  // namespace

void StdioLoop::run() {
    transport_.writeDiagnostic(fmt::format("started; version {}; store {}", server_.serverVersion,
                                           Paths::root(processEnvironment()).native()));
    while (const Request* request = transport_.next()) {
        try {
            handle(*request);
        } catch (const std::bad_alloc&) {
            continue;  // there is no memory for the reply; the next one may be smaller
        }
    }
    transport_.writeDiagnostic("stdin closed; exiting");
}

void StdioLoop::handle(const Request& request) {
    // A request without an id is a notification: never answered, so there is nothing to work out.
    if (!request.id) {
        return;
    }
    const std::string_view method = *request.method;
    if (method == "initialize") {
        resultResponse(*request.id, initialize(request));
    } else if (method == "tools/list") {
        resultResponse(*request.id, listTools());
    } else if (method == "tools/call") {
        resultResponse(*request.id, callTool(request));
    } else if (method == "ping") {
        resultResponse(*request.id, "{}");
    } else if (!method.starts_with("notifications/")) {
        constexpr int methodNotFound = -32601;
        errorResponse(*request.id, methodNotFound, fmt::format("Method not found: {}", method));
    }
}

std::string StdioLoop::initialize(const Request& request) const {
    return json::serialize(json::object{
        {"protocolVersion", request.protocolVersion.value_or("2024-11-05")},
        {"capabilities", {{"tools", json::object()}}},
        {"serverInfo", {{"name", server_.serverName}, {"version", server_.serverVersion}}},
        {"instructions", server_.instructions()},
    });
}

std::string StdioLoop::listTools() const {
    return json::serialize(json::object{{"tools", server_.tools()}});
}

std::string StdioLoop::callTool(const Request& request) const {
    const std::string tool = request.tool.value_or("");
    ToolResult result;
    try {
        result = server_.callTool(tool, argumentsOf(request));
    } catch (const std::exception& failure) {
        // Memory ran out, or the like: the host waits for this reply, and the next request may well
        // succeed.
        result = {fmt::format("{} failed: {}", tool, failure.what()), true};
    }
    // A report can be megabytes long; its text is copied once.
    std::string content;
    content.reserve(result.text.size() + result.text.size() / 16 + largestHead);
    content += R"({"content":[{"type":"text","text":)";
    JsonText::appendString(content, result.text);
    return content.append(R"(}],"isError":)").append(result.isError ? "true}" : "false}");
}

void StdioLoop::resultResponse(const JsonReader::Source& id, std::string result) {
    transport_.writeReply(id, "result", std::move(result));
}

void StdioLoop::errorResponse(const JsonReader::Source& id, int code, std::string_view message) {
    transport_.writeReply(id, "error", json::serialize(json::object{{"code", code}, {"message", message}}));
}

}  // namespace brellin
