#pragma once

#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/server/MCPServer.h"
#include "tests/world/Program.h"
#include "tests/world/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>

namespace brellin {

/// How GoogleTest shows an answer.
void PrintTo(const ToolResult& result, std::ostream* stream);  // NOLINT(readability-identifier-naming)

}  // namespace brellin

namespace brellin::world {

/// Looks at a history database as any other program would, with plain SQL on a connection of its own. Columns are
/// joined with "|", rows with line feeds, NULL is "-". A failed statement gives its error message.
std::string sql(const std::string& root, const std::string& statements);

/// The line that asks a tool of the server. `argument` goes in as the tool's own argument.
std::string toolCall(std::string_view tool, std::string_view argument = {});

/// The answer that the server wrote to one such line.
ToolResult answerIn(const ProgramRun& run);

/// A home whose sessions run in one real process, and a data directory that does not exist yet.
class Household : public testing::Test {
  protected:
    const TemporaryDirectory home_;
    const LiveProcess process_;
    const std::string root_ = home_ / "data";
    Environment environment_ = {{"HOME", home_.path()}, {"HAVRICK_ROOT", root_}};

    /// Declares a session, all at once, so that nobody reads half a file. `members` are JSON with single
    /// quotes, each ending in a comma; they may replace the process id and the time.
    void declare(std::string_view account, std::string_view id, std::string_view members) const;
    /// Members of a session that runs, and of one that can be written to as well: at /s, which is 59c7ba.
    std::string alive() const { return "'procStart':'" + process_.procStart() + "',"; }
    std::string reachable() const { return alive() + "'messagingSocketPath':'/s',"; }
    /// What the real server answers.
    ToolResult ask(std::string_view tool, std::string_view argument = {}) const;
    void expect(std::string_view tool, std::string_view argument, const std::string& text, bool isError = false) const {
        EXPECT_EQ(ask(tool, argument), (ToolResult{text, isError}));
    }
};

}  // namespace brellin::world
