#include "tests/world/Household.h"

#include <boost/json/parse.hpp>
#include <boost/json/value_to.hpp>
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>

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
    constexpr const char* call =
        R"({{"id":1,"method":"tools/call","params":{{"name":"havrick_{}","arguments":{{"{}":"{}"}}}}}})";
    return fmt::format(call, tool, tool == "resolve" ? "query" : "sessionId", argument) + "\n";
}

std::string answerIn(const ProgramRun& run) {
    json::error_code broken;
    const json::value reply = json::parse(run.output, broken);  // refuses a second line
    if (broken || run.exitStatus != 0 || !run.output.ends_with('\n')) {
        return fmt::format("exit {}, no reply in: {}{}", run.exitStatus, run.output, run.errors);
    }
    const json::value& result = reply.at("result");
    return (result.at("isError").as_bool() ? "error: " : "") +
           json::value_to<std::string>(result.at("content").at(0).at("text"));
}

Household::Household() {
    ::umask(S_IRWXG | S_IRWXO);  // a recorder says what it finds open to others
    std::filesystem::create_directory_symlink(std::filesystem::path(HAVRICK_EXECUTABLE).parent_path(), home_ / "bin");
}

std::string Household::tell(const std::string& arguments) const {
    const std::string command = HAVRICK_EXECUTABLE " " + arguments;
    const auto run = runProgram({"/bin/bash", "-o", "pipefail", "-c", command}, environment_);
    return run.output + run.errors + (run.exitStatus == 0 ? "" : fmt::format("exit {}\n", run.exitStatus));
}

std::vector<std::string> Household::script(const std::string& commands) {
    return {"/bin/bash", "-c", "cd \"$HOME\"; given() { \"$@\" true 2>/dev/null && given=$*; }; " + commands};
}

void Household::declare(std::string_view account, std::string_view id, std::string_view members) const {
    std::string text =
        fmt::format("{{'pid':{},'startedAt':1772373909123,{}'sessionId':'{}'}}", process_.pid(), members, id);
    std::ranges::replace(text, '\'', '"');
    const std::string written = home_.write(fmt::format("{}/sessions/written", account), text);
    std::filesystem::rename(written, home_ / fmt::format("{}/sessions/{}.json", account, id));
}

}  // namespace brellin::world
