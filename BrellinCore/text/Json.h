#pragma once

#include <boost/json/value.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brellin {

/// JSON documents as Boost.JSON values. The parser stands behind this door because it needs guards that no
/// caller may forget.
namespace Json {

/// Containers nested deeper than this make a text "not JSON".
inline constexpr std::size_t maxDepth = 512;

/// So do more values than this: a hundred megabytes of "0,0,0," would take gigabytes as a document, and
/// nothing that is read here comes near it.
inline constexpr std::size_t maxValues = 1'000'000;

/// Parses one document. nullopt when the text is not JSON: malformed, not UTF-8, nested too deeply, too
/// large to be held, or with a number beyond the range of a double. Of duplicate members the last counts.
/// Integers are exact over the signed and unsigned 64-bit range; every other number is the double nearest
/// to its digits.
///
/// @param memory where the document is put; it must outlive the result
std::optional<boost::json::value> parse(std::string_view text, boost::json::storage_ptr memory = {});

/// The same, but only a document whose top level is an object.
std::optional<boost::json::object> parseObject(std::string_view text, boost::json::storage_ptr memory = {});

/// The string member of that name; nullptr when there is none or it is of another type.
const boost::json::string* stringMember(const boost::json::object& object, std::string_view name);

/// The object member of that name; nullptr when there is none or it is of another type.
const boost::json::object* objectMember(const boost::json::object& object, std::string_view name);

/// The whole-number member of that name: a JSON number whose value is integral and fits 64 bits signed
/// (42 and 42.0, not 42.5, not true); nullopt otherwise.
std::optional<std::int64_t> wholeNumberMember(const boost::json::object& object, std::string_view name);

}  // namespace Json

}  // namespace brellin
