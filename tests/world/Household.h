#pragma once

#include "BrellinCore/platform/Environment.h"
#include "tests/world/Program.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace brellin::world {

/// Looks at a history database as any other program would, with plain SQL on a connection of its own. Columns are
/// joined with "|", rows with line feeds, NULL is "-". A failed statement gives its error message.
std::string sql(const std::string& root, const std::string& statements);

/// The line that asks one of the server's tools, named without "havrick_". `argument` goes in as the tool's own.
std::string toolCall(std::string_view tool, std::string_view argument = {});

/// The answer that the server wrote to one such line, after "error: " when it is one.
std::string answerIn(const ProgramRun& run);

/// Begins a command line of a script in a Household, as the command that runs without the rights that root has.
inline const std::string withoutRights =
    "given setpriv --securebits=+noroot --inh-caps=-all --ambient-caps=-all --bounding-set=-all; $given ";

/// A home whose sessions run in one real process, and a data directory that does not exist yet.
class Household : public testing::Test {
  protected:
    Household();

    const TemporaryDirectory home_;
    const LiveProcess process_;
    const std::string root_ = home_ / "data";
    Environment environment_ = {{"HOME", home_.path()}, {"HAVRICK_ROOT", root_}};

    /// Declares a session, all at once, so that nobody reads half a file. `members` are JSON with single
    /// quotes, each ending in a comma; they may replace the process id and the time.
    void declare(std::string_view account, std::string_view id, std::string_view members) const;
    /// The same for the home's own account.
    void declare(std::string_view id, std::string_view members) const { declare(".claude", id, members); }
    /// Members of a session that runs, and of one that can be written to as well: at /s, which is 59c7ba.
    std::string alive() const { return "'procStart':'" + startOf(process_.pid()) + "',"; }
    std::string reachable() const { return alive() + "'messagingSocketPath':'/s',"; }
    /// What the real server answers.
    std::string ask(std::string_view tool, std::string_view argument = {}) const {
        return answerIn(runProgram({HAVRICK_MCP_EXECUTABLE}, environment_, toolCall(tool, argument)));
    }
    /// What the companion says to a command of the shell: all that it writes, and its exit status unless that is 0.
    std::string tell(const std::string& arguments) const;
    /// A command line of bash in the home, where bin/ holds the executables. "given COMMAND" makes $given the command
    /// that gives rights up before it runs another, where there are any.
    static std::vector<std::string> script(const std::string& commands);
    ProgramRun runIn(const std::string& commands, const std::string& input = {}) const {
        return runProgram(script(commands), environment_, input);
    }
};

}  // namespace brellin::world
