#include "fuzz/JsonDocument.h"

#include "BrellinCore/text/JsonReader.h"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace brellin::fuzz::JsonDocument {

namespace json = boost::json;

namespace {

/// Builds a value from the parser's events, as Boost's own builder does, but reads every double from its
/// digits and refuses those that are out of range.
struct ValueBuilder {
    // NOLINTBEGIN(readability-identifier-naming): the parser looks for these names
    static constexpr std::size_t max_object_size = json::object::max_size();
    static constexpr std::size_t max_array_size = json::array::max_size();
    static constexpr std::size_t max_key_size = json::string::max_size();
    static constexpr std::size_t max_string_size = json::string::max_size();
    // NOLINTEND(readability-identifier-naming)

    json::value_stack stack;

    ValueBuilder() { stack.reset(); }

    static bool on_document_begin(json::error_code& /*error*/) { return true; }
    static bool on_document_end(json::error_code& /*error*/) { return true; }
    static bool on_comment_part(json::string_view /*part*/, json::error_code& /*error*/) { return true; }
    static bool on_comment(json::string_view /*part*/, json::error_code& /*error*/) { return true; }
    static bool on_number_part(json::string_view /*part*/, json::error_code& /*error*/) { return true; }
    static bool on_object_begin(json::error_code& /*error*/) { return true; }
    static bool on_array_begin(json::error_code& /*error*/) { return true; }
    bool on_object_end(std::size_t count, json::error_code& /*error*/) {
        stack.push_object(count);
        return true;
    }
    bool on_array_end(std::size_t count, json::error_code& /*error*/) {
        stack.push_array(count);
        return true;
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
    bool on_string(json::string_view part, std::size_t /*size*/, json::error_code& /*error*/) {
        stack.push_string(part);
        return true;
    }
    bool on_int64(std::int64_t number, json::string_view /*part*/, json::error_code& /*error*/) {
        stack.push_int64(number);
        return true;
    }
    bool on_uint64(std::uint64_t number, json::string_view /*part*/, json::error_code& /*error*/) {
        stack.push_uint64(number);
        return true;
    }
    bool on_double(double /*rough*/, json::string_view digits, json::error_code& error) {
        const double exact = std::strtod(std::string(digits).c_str(), nullptr);
        if (!std::isfinite(exact)) {
            error = json::error::exponent_overflow;
            return false;
        }
        stack.push_double(exact);
        return true;
    }
    bool on_bool(bool value, json::error_code& /*error*/) {
        stack.push_bool(value);
        return true;
    }
    bool on_null(json::error_code& /*error*/) {
        stack.push_null();
        return true;
    }
};

struct UnicodeEscape {
    std::size_t position;
    unsigned long unit;

    bool isLeading() const { return unit >= 0xD800 && unit < 0xDC00; }
    bool isTrailing() const { return unit >= 0xDC00 && unit < 0xE000; }
    bool isBefore(const UnicodeEscape& other) const { return position + 6 == other.position; }
};

std::vector<UnicodeEscape> unicodeEscapes(const std::string& text) {
    std::vector<UnicodeEscape> escapes;
    for (std::size_t at = text.find('\\'); at != std::string::npos; at = text.find('\\', at + 2)) {
        const std::string digits = text.substr(std::min(at + 2, text.size()), 4);
        const bool isWhole =
            digits.size() == 4 && digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
        if (isWhole && text[at + 1] == 'u') {
            escapes.push_back({at, std::stoul(digits, nullptr, 16)});
        }
    }
    return escapes;
}

std::string withoutHalves(std::string text) {
    const std::vector<UnicodeEscape> escapes = unicodeEscapes(text);
    for (std::size_t index = 0; index < escapes.size(); ++index) {
        const UnicodeEscape& escape = escapes[index];
        const bool isPair = escape.isLeading() && index + 1 < escapes.size() &&
                            escape.isBefore(escapes[index + 1]) && escapes[index + 1].isTrailing();
        if (isPair) {
            ++index;
        } else if (escape.isLeading() || escape.isTrailing()) {
            text.replace(escape.position, 6, "\\uFFFD");
        }
    }
    return text;
}

}  // namespace

std::optional<json::value> parse(std::string_view text) {
    constexpr std::string_view mark = "\uFEFF";
    const std::string whole =
        withoutHalves(std::string(text.substr(text.starts_with(mark) ? mark.size() : 0)));
    json::parse_options options;
    options.max_depth = JsonReader::maxDepth;
    json::basic_parser<ValueBuilder> parser(options);
    json::error_code error;
    const std::size_t consumed = parser.write_some(false, whole.data(), whole.size(), error);
    if (error || consumed != whole.size() || !parser.done()) {
        return std::nullopt;
    }
    return parser.handler().stack.release();
}

const json::value* at(const std::optional<json::value>& document, std::string_view path) {
    const json::value* value = document ? &*document : nullptr;
    while (value != nullptr && !path.empty()) {
        path.remove_prefix(1);
        const std::string_view key = path.substr(0, path.find('/'));
        value = value->is_object() ? value->get_object().if_contains(key) : nullptr;
        path.remove_prefix(key.size());
    }
    return value;
}

std::optional<std::string> text(const json::value* value) {
    return value != nullptr && value->is_string()
               ? std::optional(std::string(value->get_string().c_str(), value->get_string().size()))
               : std::nullopt;
}

std::optional<std::int64_t> wholeNumber(const json::value* value) {
    if (value != nullptr && value->is_double()) {
        const double number = value->get_double();
        const bool isWhole = number >= -0x1p63 && number < 0x1p63 && std::trunc(number) == number;
        return isWhole ? std::optional(static_cast<std::int64_t>(number)) : std::nullopt;
    }
    return value != nullptr && value->is_int64() ? std::optional(value->get_int64()) : std::nullopt;
}

}  // namespace brellin::fuzz::JsonDocument
