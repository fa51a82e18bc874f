#include "BrellinCore/text/Json.h"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>

#include <array>
#include <cmath>
#include <cstdlib>
#include <new>
#include <utility>

namespace brellin::Json {

namespace json = boost::json;

namespace {

/// Builds a value from the parser's events. Two things differ from Boost's own builder: a number is read
/// again from its digits, since the parser's fast path may be off in the last place and an id must come
/// back as the number it was; and one beyond the range of a double ends the parse, since it would be
/// printed as "Infinity".
struct ValueBuilder {
    // NOLINTBEGIN(readability-identifier-naming): the parser looks for these names
    static constexpr std::size_t max_object_size = json::object::max_size();
    static constexpr std::size_t max_array_size = json::array::max_size();
    static constexpr std::size_t max_key_size = json::string::max_size();
    static constexpr std::size_t max_string_size = json::string::max_size();
    // NOLINTEND(readability-identifier-naming)

    // Room for the values of a usual document on their way into it; a larger one takes more.
    alignas(json::value) std::array<unsigned char, 1024> room;
    json::value_stack stack{{}, room.data(), room.size()};
    std::string digits;
    std::size_t values = 0;

    explicit ValueBuilder(json::storage_ptr memory) { stack.reset(std::move(memory)); }

    bool countValue(json::error_code& error) {
        if (++values > maxValues) {
            error = json::error::array_too_large;
            return false;
        }
        return true;
    }

    bool on_document_begin(json::error_code& /*error*/) { return true; }
    bool on_document_end(json::error_code& /*error*/) { return true; }
    bool on_object_begin(json::error_code& /*error*/) { return true; }
    bool on_object_end(std::size_t count, json::error_code& error) {
        stack.push_object(count);
        return countValue(error);
    }
    bool on_array_begin(json::error_code& /*error*/) { return true; }
    bool on_array_end(std::size_t count, json::error_code& error) {
        stack.push_array(count);
        return countValue(error);
    }
    bool on_key_part(json::string_view part, std::size_t /*size*/, json::error_code& /*error*/) {
        stack.push_chars(part);
        return true;
    }
    bool on_key(json::string_view part, std::size_t /*size*/, json::error_code& /*error*/) {
        stack.push_key(part);
        return true;
    }
    bool on_string_part(json::string_view part, std::size_t /*size*/, json::error_code& /*error*/) {
        stack.push_chars(part);
        return true;
    }
    bool on_string(json::string_view part, std::size_t /*size*/, json::error_code& error) {
        stack.push_string(part);
        return countValue(error);
    }
    bool on_number_part(json::string_view part, json::error_code& /*error*/) {
        digits.append(part.data(), part.size());
        return true;
    }
    bool on_int64(std::int64_t number, json::string_view /*part*/, json::error_code& error) {
        digits.clear();
        stack.push_int64(number);
        return countValue(error);
    }
    bool on_uint64(std::uint64_t number, json::string_view /*part*/, json::error_code& error) {
        digits.clear();
        stack.push_uint64(number);
        return countValue(error);
    }
    bool on_double(double /*rough*/, json::string_view part, json::error_code& error) {
        digits.append(part.data(), part.size());
        const double exact = std::strtod(digits.c_str(), nullptr);
        digits.clear();
        if (!std::isfinite(exact)) {
            error = json::error::exponent_overflow;
            return false;
        }
        stack.push_double(exact);
        return countValue(error);
    }
    bool on_bool(bool value, json::error_code& error) {
        stack.push_bool(value);
        return countValue(error);
    }
    bool on_null(json::error_code& error) {
        stack.push_null();
        return countValue(error);
    }
    bool on_comment_part(json::string_view /*part*/, json::error_code& /*error*/) { return true; }
    bool on_comment(json::string_view /*part*/, json::error_code& /*error*/) { return true; }
};

}  // namespace

std::optional<json::value> parse(std::string_view text, json::storage_ptr memory) try {
    json::parse_options options;
    options.max_depth = maxDepth;
    json::basic_parser<ValueBuilder> parser(options, std::move(memory));
    json::error_code error;
    const std::size_t consumed = parser.write_some(false, text.data(), text.size(), error);
    if (error || consumed != text.size() || !parser.done()) {
        return std::nullopt;
    }
    return parser.handler().stack.release();
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

std::optional<json::object> parseObject(std::string_view text, json::storage_ptr memory) {
    std::optional<json::value> document = parse(text, std::move(memory));
    if (!document || !document->is_object()) {
        return std::nullopt;
    }
    return std::move(document->get_object());
}

const json::string* stringMember(const json::object& object, std::string_view name) {
    const json::value* member = object.if_contains(name);
    return member == nullptr ? nullptr : member->if_string();
}

const json::object* objectMember(const json::object& object, std::string_view name) {
    const json::value* member = object.if_contains(name);
    return member == nullptr ? nullptr : member->if_object();
}

std::optional<std::int64_t> wholeNumberMember(const json::object& object, std::string_view name) {
    const json::value* member = object.if_contains(name);
    if (member == nullptr) {
        return std::nullopt;
    }
    if (const std::int64_t* number = member->if_int64()) {
        return *number;
    }
    // 2^63 as a double is exact; -2^63 is the least 64-bit number, 2^63 is one too many.
    constexpr double limit = 9223372036854775808.0;
    const double* number = member->if_double();
    if (number == nullptr || *number < -limit || *number >= limit || std::trunc(*number) != *number) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(*number);
}

}  // namespace brellin::Json
