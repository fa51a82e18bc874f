#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// One Claude Code account: a configuration directory, with everything the scan found out about it.
struct ClaudeAccount {
    /// How an account was found. Ordered by raw value, not by declaration.
    enum class Source {
        defaultHome,      ///< `.claude` in the home directory
        environment,      ///< named by CLAUDE_CONFIG_DIR
        alias,            ///< named by a shell alias that sets nothing but CLAUDE_CONFIG_DIR
        orphanDirectory,  ///< a directory `.claude-*` found in the home directory
    };

    /// Sorts sources by their raw values.
    struct ByRawValue {
        bool operator()(Source left, Source right) const;
    };

    std::string path;                          ///< normalised; the account's identity
    std::string label;                         ///< short display name; need not be unique
    std::set<Source, ByRawValue> sources;      ///< never empty
    bool isDefault = false;                    ///< the path is `<home>/.claude`
    bool isActiveForThisProcess = false;       ///< the path is the one that CLAUDE_CONFIG_DIR names
    bool existsOnDisk = false;                 ///< a directory, symbolic links followed
    std::optional<std::string> identityEmail;  ///< the signed-in address; absent when the directory is

    friend bool operator==(const ClaudeAccount&, const ClaudeAccount&) = default;
};

/// "defaultHome", "environment", "alias" or "orphanDirectory".
std::string_view rawValue(ClaudeAccount::Source source);

/// The source with that raw value; nullopt for any other text.
std::optional<ClaudeAccount::Source> sourceFromRaw(std::string_view text);

/// The result of one scan.
struct AccountScan {
    std::vector<ClaudeAccount> accounts;  ///< the default one first, then by label, then by path
    std::vector<std::string> caveats;     ///< what the enumeration could not see; never empty

    friend bool operator==(const AccountScan&, const AccountScan&) = default;
};

}  // namespace brellin
