#pragma once

#include "BrellinCore/text/JsonReader.h"

#include <span>
#include <string>

namespace brellin {

/// Reads the members that its caller names out of a JSON file of any size, in pieces.
///
/// @return false when there is no such regular file, or it cannot be read to its end, or the reader refuses
/// its text; every member is absent then
bool readJsonFile(const std::string& path, std::span<const JsonReader::Member> members);

}  // namespace brellin
