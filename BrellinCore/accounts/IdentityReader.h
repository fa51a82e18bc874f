#pragma once

#include <optional>
#include <string>
#include <vector>

namespace brellin {

/// Finds the e-mail address that a configuration directory is signed in with: the string at
/// oauthAccount.emailAddress in the account's identity file. Any problem leaves the address unknown. An
/// identity file also holds what its program remembers, often tens of megabytes: it is read in pieces,
/// whatever its size, and nothing of it is kept but the address.
namespace IdentityReader {

/// The identity files to try, in order: `<configDir>/.claude.json`, and for the default account
/// `<home>/.claude.json` after it.
///
/// @param configDir a normalised account path; the default account is recognised by exact equality
std::vector<std::string> candidateFiles(const std::string& configDir, const std::string& home);

/// The first non-empty address that a candidate holds, unchanged; nullopt when none does.
std::optional<std::string> email(const std::string& configDir, const std::string& home);

}  // namespace IdentityReader

}  // namespace brellin
