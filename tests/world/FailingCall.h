#pragma once

#include <string_view>

namespace brellin::world {

/// Lets the next call of a function of the system fail with an error, once: "close_range", "fsync", "read", "readdir",
/// "waitpid" or "write", where code that is linked into the tests calls it. On Linux only.
void failNext(std::string_view function, int error);

}  // namespace brellin::world
