#include "BrellinMCP/StdioLoop.h"

#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/server/Paths.h"
#include "BrellinCore/text/Json.h"

#include <fmt/format.h>

#include <exception>
#include <new>
#include <string>
#include <utility>

namespace brellin {

namespace json = boost::json;

void StdioLoop::run() {
    transport_.writeDiagnostic(fmt::format("started; version {}; store {}", server_.serverVersion,
                                           Paths::root(processEnvironment()).native()));
    while (const auto request = transport_.next()) {
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
    if (request.id == nullptr) {
        return;
    }
    if (request.method == "initialize") {
        resultResponse(*request.id, initialize(*request.params));
    } else if (request.method == "tools/list") {
        resultResponse(*request.id, {{"tools", server_.tools()}});
    } else if (request.method == "tools/call") {
        resultResponse(*request.id, callTool(*request.params));
    } else if (request.method == "ping") {
        resultResponse(*request.id, {});
    } else if (!request.method.starts_with("notifications/")) {
        constexpr int methodNotFound = -32601;
        errorResponse(*request.id, methodNotFound, fmt::format("Method not found: {}", request.method));
    }
}

json::object StdioLoop::initialize(const json::object& params) const {
    const json::string* version = Json::stringMember(params, "protocolVersion");
    return {
        {"protocolVersion", version != nullptr ? std::string_view(*version) : "2024-11-05"},
        {"capabilities", {{"tools", json::object()}}},
        {"serverInfo", {{"name", server_.serverName}, {"version", server_.serverVersion}}},
        {"instructions", server_.instructions()},
    };
}

json::object StdioLoop::callTool(const json::object& params) const {
    const json::string* name = Json::stringMember(params, "name");
    const json::object* arguments = Json::objectMember(params, "arguments");
    const std::string_view toolName = name != nullptr ? std::string_view(*name) : std::string_view();
    ToolResult result;
    try {
        result = server_.callTool(toolName, arguments != nullptr ? *arguments : json::object());
    } catch (const std::exception& failure) {
        // Memory ran out, or the like: the host waits for this reply, and the next request may well
        // succeed.
        result = {fmt::format("{} failed: {}", toolName, failure.what()), true};
    }
    return {
        {"content", json::array{{{"type", "text"}, {"text", result.text}}}},
        {"isError", result.isError},
    };
}

void StdioLoop::resultResponse(const json::value& id, const json::object& result) {
    transport_.writeReply(id, "result", result);
}

void StdioLoop::errorResponse(const json::value& id, int code, std::string_view message) {
    transport_.writeReply(id, "error", {{"code", code}, {"message", message}});
}

}  // namespace brellin
