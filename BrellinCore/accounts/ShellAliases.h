#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// One alias definition of a shell start-up file, reduced to what it says about Claude Code.
struct ShellAlias {
    std::string name;                      ///< as written before "=", never empty
    std::string definedAt;                 ///< "<file>:<line>", the line counted from 1
    std::optional<std::string> configDir;  ///< what CLAUDE_CONFIG_DIR is set to; may be empty
    std::vector<std::string> extraFlags;   ///< every other word except the command, in order

    /// True when the alias sets a configuration directory and adds no other word: it names an account.
    bool changesOnlyConfigDir() const { return extraFlags.empty() && configDir.has_value(); }

    friend bool operator==(const ShellAlias&, const ShellAlias&) = default;
};

/// Reads alias definitions as literal text. No shell runs and nothing is expanded: a tilde, a variable or
/// an inner quote stays as written.
namespace ShellAliases {

/// The aliases of all files whose name contains "claude", in file and line order, duplicates included.
///
/// @param home    the home directory
/// @param rcFiles file names relative to it; one that cannot be read as UTF-8 is skipped. Only a bare line
///                feed ends a line: a file with CR LF endings is one single line
std::vector<ShellAlias> claudeAliases(const std::string& home, std::span<const std::string_view> rcFiles);

/// Parses one definition.
///
/// @param line      begins with "alias "; these six characters are dropped unseen
/// @param definedAt carried over into the result
/// @return nullopt when there is no "=" or nothing before it
std::optional<ShellAlias> parse(std::string_view line, std::string definedAt);

}  // namespace ShellAliases

}  // namespace brellin
