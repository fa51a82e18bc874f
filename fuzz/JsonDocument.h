#pragma once

#include <boost/json/value.hpp>

#include <optional>
#include <string_view>

namespace brellin::fuzz {

/// The measure for what is read by events: the same reading by way of a whole document.
namespace JsonDocument {

/// nullopt when the text is not JSON. A byte order mark and unpaired surrogates are treated as by
/// JsonReader.
std::optional<boost::json::value> parse(std::string_view text);

/// The value at a path from the top level, "/oauthAccount/emailAddress"; nullptr when there is none.
const boost::json::value* at(const std::optional<boost::json::value>& document, std::string_view path);

/// The string that the value is; nullopt when it is none.
std::optional<std::string> text(const boost::json::value* value);

/// The whole number of 64 bits that the value is; nullopt when it is none.
std::optional<std::int64_t> wholeNumber(const boost::json::value* value);

}  // namespace JsonDocument

}  // namespace brellin::fuzz
