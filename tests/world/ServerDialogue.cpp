#include "tests/world/ServerDialogue.h"

#include "BrellinCore/platform/Split.h"
#include "tests/world/Program.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

#include <algorithm>

namespace brellin {

void PrintTo(const ToolResult& result, std::ostream* stream) {
    *stream << (result.isError ? "error:\n" : "answer:\n") << result.text;
}

}  // namespace brellin

namespace brellin::world {

namespace json = boost::json;

std::vector<json::value> ask(const Environment& environment, std::initializer_list<std::string_view> lines) {
    std::string input;
    for (const std::string_view line : lines) {
        input.append(line).append("\n");
    }
    const ProgramRun run = runProgram({HAVRICK_MCP_EXECUTABLE}, environment, input);
    EXPECT_EQ(run.exitStatus(), 0) << run.errors;
    EXPECT_TRUE(run.output.empty() || run.output.ends_with('\n'));
    std::vector<json::value> replies;
    for (const std::string_view line : splitDroppingEmpty(run.output, "\n")) {
        replies.push_back(json::parse(line));
    }
    return replies;
}

ToolResult callTool(const Environment& environment, std::string_view tool, std::string_view argument) {
    const json::object arguments = {{tool == "havrick_resolve" ? "query" : "sessionId", argument}};
    const json::object request = {
        {"id", 1}, {"method", "tools/call"}, {"params", {{"name", tool}, {"arguments", arguments}}}};
    const auto replies = ask(environment, {json::serialize(request)});
    if (replies.size() != 1) {
        ADD_FAILURE() << replies.size() << " replies";
        return {};
    }
    const json::value& result = replies[0].at("result");
    return {std::string(std::string_view(result.at("content").at(0).at("text").as_string())),
            result.at("isError").as_bool()};
}

std::string singleQuoted(std::string json) {
    std::ranges::replace(json, '\'', '"');
    return json;
}

}  // namespace brellin::world
