#pragma once

#include <string>
#include <string_view>

namespace brellin {

/// Writing of JSON that would be large as a document, straight into the text that goes out.
namespace JsonText {

/// Appends a text, which must be UTF-8, as a JSON string with its quotes. Escaped is what has to be:
/// quotes, backslashes and control characters, by their short forms where they have one.
void appendString(std::string& json, std::string_view text);

}  // namespace JsonText

}  // namespace brellin
