#pragma once

#include <string>
#include <string_view>

namespace brellin {

/// Operations on the text of a path. Only the home and the working directory are looked up; nothing here
/// asks whether a path exists, and symbolic links are never followed.
namespace FilePath {

/// Replaces a first component "~" by the current user's home directory and "~name" by that user's. A name
/// that the user database does not know stays as written, and so does everything after the component.
std::string expandTilde(std::string_view path);

/// The path itself when it is absolute; otherwise the working directory joined with it, "." and ".."
/// resolved textually. The result has no slash at its end. An empty path is the working directory.
std::string absolute(std::string_view path);

/// The one spelling under which a path is known here: tilde expanded, absolute, "." removed, ".." resolved
/// textually, no slash at its end.
std::string normalize(std::string_view path);

/// The part behind the last slash, slashes at the end ignored ("/a/b/" gives "b"); "/" for the root.
std::string_view lastComponent(std::string_view path);

}  // namespace FilePath

}  // namespace brellin
