#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brellin {

/// Operations on UTF-8 text. "Characters" are Unicode scalar values.
namespace Utf8 {

bool isValid(std::string_view text);

/// The text with every malformed sequence replaced by U+FFFD.
std::string repaired(std::string_view text);

/// The first `count` characters, the whole text when it has fewer. No sequence is cut.
std::string_view prefix(std::string_view text, std::size_t count);

/// The text as it may go to a terminal or into a line: control characters (but for the tab), line
/// separators, marks that turn the direction of writing, tags, and malformed sequences become U+FFFD.
std::string printable(std::string_view text);

/// Without the white space and newline characters at both ends (Unicode's White_Space).
std::string_view trimmed(std::string_view text);

/// Without the tabs and space separators at both ends (Unicode's Zs); line breaks stay.
std::string_view trimmedOfBlanks(std::string_view text);

}  // namespace Utf8

}  // namespace brellin
