#include "tests/world/Household.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>

namespace brellin {

void PrintTo(const ToolResult& result, std::ostream* stream) {
    *stream << (result.isError ? "error:\n" : "answer:\n") << result.text;
}

}  // namespace brellin

namespace brellin::world {

namespace json = boost::json;

std::string sql(const std::string& root, const std::string& statements) {
    sqlite3* connection = nullptr;
    ::sqlite3_open((root + "/havrick.db").c_str(), &connection);
    std::string result;
    const auto addRow = [](void* rows, int count, char** values, char** /*names*/) {
        auto& text = *static_cast<std::string*>(rows);
        text.append(text.empty() ? "" : "\n");
        for (int column = 0; column < count; ++column) {
            text.append(column == 0 ? "" : "|").append(values[column] == nullptr ? "-" : values[column]);
        }
        return 0;
    };
    if (::sqlite3_exec(connection, statements.c_str(), addRow, &result, nullptr) != SQLITE_OK) {
        result = ::sqlite3_errmsg(connection);
    }
    ::sqlite3_close(connection);
    return result;
}

std::string toolCall(std::string_view tool, std::string_view argument) {
    const json::object arguments = {{tool == "havrick_resolve" ? "query" : "sessionId", argument}};
    return json::serialize(json::object{
               {"id", 1}, {"method", "tools/call"}, {"params", {{"name", tool}, {"arguments", arguments}}}}) +
           "\n";
}

ToolResult answerIn(const ProgramRun& run) {
    EXPECT_EQ(run.exitStatus, 0) << run.errors;
    json::error_code broken;
    const json::value reply = json::parse(run.output, broken);  // refuses a second line
    if (broken || !run.output.ends_with('\n')) {
        ADD_FAILURE() << "not one reply: " << run.output << run.errors;
        return {};
    }
    const json::value& result = reply.at("result");
    return {std::string(result.at("content").at(0).at("text").as_string()), result.at("isError").as_bool()};
}

void Household::declare(std::string_view account, std::string_view id, std::string_view members) const {
    std::string text =
        fmt::format("{{'pid':{},'startedAt':1772373909123,{}'sessionId':'{}'}}", process_.pid(), members, id);
    std::ranges::replace(text, '\'', '"');
    const std::string written = home_.write(fmt::format("{}/sessions/written", account), text);
    std::filesystem::rename(written, home_ / fmt::format("{}/sessions/{}.json", account, id));
}

ToolResult Household::ask(std::string_view tool, std::string_view argument) const {
    return answerIn(runProgram({HAVRICK_MCP_EXECUTABLE}, environment_, toolCall(tool, argument)));
}

}  // namespace brellin::world
