#pragma once

#include "BrellinCore/text/JsonReader.h"

#include <span>
#include <string_view>

namespace brellin {

/// The short way through JSON that is written as plainly as nearly all of it is: an object whose members
/// are strings of ASCII without escapes, integers of at most 18 digits, `true`, `false` or `null`.
/// Whether anything else is JSON, and what it says, has to be asked of a parser.
namespace PlainJson {

/// Does what JsonReader::read does for an object that is written so.
///
/// @return false when it is not; what the members hold then means nothing
/// @throws std::bad_alloc there is no memory for what is to be kept
bool read(std::string_view text, std::span<const JsonReader::Member> members);

}  // namespace PlainJson

}  // namespace brellin
