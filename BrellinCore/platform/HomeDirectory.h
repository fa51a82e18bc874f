#pragma once

#include <optional>
#include <string>

namespace brellin {

/// The current user's home directory, without a slash at its end: $HOME when it is an absolute path (that
/// is where the sessions' own program looks, too), otherwise what the user database says, otherwise "/".
std::string homeDirectory();

/// The home directory of a user by name; nullopt when there is no such user.
///
/// An executable with a static C library knows the users of /etc/passwd alone; others ask the whole user
/// database (directory services, too).
std::optional<std::string> homeDirectory(const std::string& userName);

}  // namespace brellin
