#pragma once

#include "BrellinCLI/Output.h"

#include <string>
#include <string_view>

namespace brellin::cli {

/// What an agent sees, for a person or a script.
namespace ToolCommands {

/// Prints the text that an agent gets from a tool; failure when the answer is an error.
///
/// @param argumentName the tool's argument; empty for a tool without one
ExitStatus printAnswer(std::string_view tool, std::string_view argumentName = {},
                       const std::string& argument = {});

/// Prints the sessions of this moment as one JSON document: {"accountCount", "sessions": [...]}. Each
/// session has the fields of its record that are present, "peerRef", "peerAddress", "accountLabel", and
/// "verdict" with "state", "method" and, where there is one, "diagnostic".
ExitStatus printNowAsJson();

/// Prints the accounts as one JSON document: {"accounts": [...], "caveats": [...]}, each account with the
/// fields of its record that are present.
ExitStatus printAccountsAsJson();

}  // namespace ToolCommands

}  // namespace brellin::cli
