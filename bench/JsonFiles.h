#pragma once

#include <cstddef>
#include <string>

namespace brellin::bench {

/// JSON as large, and as hostile, as it comes.
namespace JsonFiles {

/// An identity file of about that size, with the projects and the prompts that such files remember.
void writeIdentity(const std::string& path, std::size_t size);

/// A session file with 65,536 members whose names fall together in the table in which Boost.JSON keeps the
/// members of an object, so that making one takes seconds.
std::string collidingSession();

/// One of the same size with as many members, whose names do not.
std::string harmlessSession();

}  // namespace JsonFiles

}  // namespace brellin::bench
