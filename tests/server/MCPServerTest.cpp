#include "BrellinCore/server/MCPServer.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

namespace brellin {

namespace json = boost::json;

TEST(MCPServer, ListsFiveToolsWithTheirSchemas) {
    std::string schemas;
    for (const json::value& tool : MCPServer().tools()) {
        EXPECT_EQ(tool.as_object().size(), 3U);
        EXPECT_FALSE(tool.at("description").as_string().empty());
        json::value schema = tool.at("inputSchema");
        for (auto& property : schema.at("properties").as_object()) {
            property.value().as_object()["description"] = "";
        }
        schemas += std::string(tool.at("name").as_string()) + json::serialize(schema) + "\n";
    }
    EXPECT_EQ(schemas, R"(havrick_now{"type":"object","properties":{}}
havrick_accounts{"type":"object","properties":{}}
havrick_who{"type":"object","properties":{"sessionId":{"type":"string","description":""}},"required":["sessionId"]}
havrick_send{"type":"object","properties":{"sessionId":{"type":"string","description":""}},"required":["sessionId"]}
havrick_resolve{"type":"object","properties":{"query":{"type":"string","description":""}},"required":["query"]}
)");
}

TEST(MCPServer, RefusesCallsItCannotAnswer) {
    const std::string who = "havrick_who needs a non-empty `sessionId`.";
    const std::string send =
        "havrick_send needs a non-empty `sessionId`. Targets are named by sessionId, never by name: names are "
        "derived at fork, and a label that has moved would deliver to somebody else.";
    const std::string resolve = "havrick_resolve needs a non-empty `query`.";
    const std::tuple<std::string_view, std::string_view, std::string> cases[] = {
        {"havrick_who", "{}", who},
        {"havrick_who", R"({"sessionId":""})", who},
        {"havrick_who", R"({"sessionId":42})", who},
        {"havrick_who", R"({"sessionid":"a"})", who},
        {"havrick_send", R"({"sessionId":null})", send},
        {"havrick_send", R"({"sessionId":["a"]})", send},
        {"havrick_resolve", R"({"name":"a"})", resolve},
        {"havrick_resolve", R"({"query":{"a":1}})", resolve},
        {"Havrick_now", "{}", "Unknown verb: Havrick_now"}};
    for (const auto& [tool, arguments, text] : cases) {
        EXPECT_EQ(MCPServer().callTool(tool, json::parse(arguments).as_object()), (ToolResult{text, true}))
            << tool << arguments;
    }
}

}  // namespace brellin
