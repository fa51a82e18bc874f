#pragma once

#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/server/MCPServer.h"

#include <boost/json/value.hpp>

#include <initializer_list>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// How GoogleTest shows an answer.
void PrintTo(const ToolResult& result, std::ostream* stream);  // NOLINT(readability-identifier-naming)

}  // namespace brellin

namespace brellin::world {

/// The replies of one run of the real server to these lines, each parsed.
std::vector<boost::json::value> ask(const Environment& environment, std::initializer_list<std::string_view> lines);

/// The answer of one tool of the real server. `argument` goes in as the tool's own argument.
ToolResult callTool(const Environment& environment, std::string_view tool, std::string_view argument = {});

/// JSON text written with single quotes, as double quotes would hide it among the backslashes of a test.
std::string singleQuoted(std::string json);

}  // namespace brellin::world
