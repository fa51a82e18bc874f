#pragma once

#include "BrellinCore/accounts/ClaudeAccount.h"
#include "BrellinCore/platform/Environment.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace brellin {

/// Finds every configuration directory ("account") of the current user.
///
/// Four sources are merged by path: the default directory, CLAUDE_CONFIG_DIR, shell aliases that set only
/// that variable, and directories named .claude-* in the home. Nothing is cached, nothing is written and
/// nothing fails: what cannot be read becomes a caveat sentence in the result or is passed over.
namespace AccountScanner {

/// Start-up files read for aliases, relative to the home directory, in this order.
inline constexpr std::array<std::string_view, 6> shellRCFiles = {".zshrc",   ".zprofile", ".zshenv",
                                                                 ".aliases", ".bashrc",   ".bash_profile"};

/// The current user's home directory: $HOME when absolute, otherwise from the user database.
std::string homeDirectory();

/// Whether a scan finds out who is signed in. Identity files can be hundreds of megabytes large, so who
/// does not show the addresses leaves them alone.
enum class Identities { read, leave };

/// @param home        the home directory to scan; nullopt means homeDirectory()
/// @param environment only CLAUDE_CONFIG_DIR is read; an empty value names no account
/// @param identities  with `leave` no account has an identity
/// @return accounts sorted default first, then by label and path; at least one caveat
AccountScan scan(const std::optional<std::string>& home, const Environment& environment,
                 Identities identities = Identities::read);

/// The short name of an account path: "main" for the default one, otherwise the last component without
/// ".claude-" or a leading ".".
std::string label(std::string_view path, std::string_view defaultPath);

}  // namespace AccountScanner

}  // namespace brellin
