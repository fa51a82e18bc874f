#pragma once

#include "BrellinCLI/views/Output.h"

#include <string>
#include <string_view>

namespace brellin::cli {

/// What an agent sees, for a person or a script.
namespace ToolCommands {

/// Prints the text that an agent gets from a tool without arguments.
ExitStatus printReport(std::string_view tool);

// The following print the text that an agent gets about the one session that a word stands for (see Whom),
// with `asJson` as {"session", "text", "isError"}; failure when the answer is an error.

/// @throws UnclearWhom
ExitStatus who(const std::string& whom, bool asJson);

/// @throws UnclearWhom
ExitStatus send(const std::string& whom, bool asJson);

/// What a name or short address stands for. Who had it once is added on standard error where nobody has it.
ExitStatus resolve(const std::string& nameOrRef, bool asJson);

/// Prints the sessions of this moment as one JSON document: {"accountCount", "sessions": [...]}. Each
/// session has the fields of its record that are present, "peerRef", "peerAddress", "accountLabel", and
/// "verdict" with "state", "method" and, where there is one, "diagnostic".
ExitStatus printNowAsJson();

/// Prints the accounts as one JSON document: {"accounts": [...], "caveats": [...]}, each account with the
/// fields of its record that are present.
ExitStatus printAccountsAsJson();

}  // namespace ToolCommands

}  // namespace brellin::cli
