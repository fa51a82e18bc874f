#include "BrellinCore/server/MCPServer.h"
#include "BrellinCore/server/Paths.h"
#include "tests/world/TemporaryDirectory.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

#include <filesystem>

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
        schemas += std::string(tool.at("name").as_string()) + " " + json::serialize(schema) + "\n";
    }
    const std::string bare = R"({"type":"object","properties":{}})";
    const auto one = [](const std::string& name) {
        return R"({"type":"object","properties":{")" + name + R"(":{"type":"string","description":""}},"required":[")" +
               name + R"("]})";
    };
    EXPECT_EQ(schemas, "havrick_now " + bare + "\nhavrick_accounts " + bare + "\nhavrick_who " + one("sessionId") +
                           "\nhavrick_send " + one("sessionId") + "\nhavrick_resolve " + one("query") + "\n");
}

TEST(MCPServer, RefusesCallsItCannotAnswer) {
    const std::string who = "havrick_who needs a non-empty `sessionId`.";
    const std::string send =
        "havrick_send needs a non-empty `sessionId`. Targets are named by sessionId, never by name: names are "
        "derived at fork, and a label that has moved would deliver to somebody else.";
    const std::string resolve = "havrick_resolve needs a non-empty `query`.";
    struct Case {
        std::string_view tool;
        std::string_view arguments;
        std::string text;
    };
    for (const auto& [tool, arguments, text] : {
             Case{"havrick_who", "{}", who},
             Case{"havrick_who", R"({"sessionId":""})", who},
             Case{"havrick_who", R"({"sessionId":42})", who},
             Case{"havrick_who", R"({"sessionid":"a"})", who},
             Case{"havrick_send", R"({"sessionId":null})", send},
             Case{"havrick_send", R"({"sessionId":["a"]})", send},
             Case{"havrick_resolve", R"({"name":"a"})", resolve},
             Case{"havrick_resolve", R"({"query":{"a":1}})", resolve},
             Case{"Havrick_now", "{}", "Unknown verb: Havrick_now"},
             Case{"", "{}", "Unknown verb: "},
         }) {
        const auto result = MCPServer().callTool(tool, json::parse(arguments).as_object());
        EXPECT_EQ(result, (ToolResult{text, true})) << tool << arguments;
    }
}

TEST(Paths, FindTheDataDirectory) {
    const world::ScopedVariable home("HOME", "/home/u");
    const std::string standard = "/home/u/Library/Application Support/Havrick";
    const std::string here = std::filesystem::current_path();
    const std::pair<Environment, std::string> cases[] = {
        {{}, standard},
        {{{"HAVRICK_ROOT", ""}}, standard},
        {{{"HAVRICK_ROOT", "~/data/"}}, "/home/u/data"},
        {{{"HAVRICK_ROOT", "~"}}, "/home/u"},
        {{{"HAVRICK_ROOT", "  "}}, here + "/  "},
        {{{"HAVRICK_ROOT", "a/./b"}}, here + "/a/b"},
        {{{"HAVRICK_ROOT", "/x/ y "}}, "/x/ y "},
    };
    for (const auto& [environment, root] : cases) {
        EXPECT_EQ(Paths::root(environment).native(), root);
    }
    EXPECT_EQ(Paths::database("/x").native(), "/x/havrick.db");
}

}  // namespace brellin
