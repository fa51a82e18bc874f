#pragma once

#include <string>

namespace brellin::world {

/// Looks at a history database as any other program would, with plain SQL on a connection of its own.
/// Columns are joined with "|", rows with line feeds, NULL is "-". A failed statement gives its error
/// message.
std::string sql(const std::string& root, const std::string& statements);

}  // namespace brellin::world
