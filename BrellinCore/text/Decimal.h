#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>

namespace brellin {

/// Reads a whole text as a base-10 number: an optional "+" or "-", then digits, nothing else. nullopt when
/// the text is of another form or out of the type's range. "-0" is 0 for an unsigned type, too.
template <std::integral Number>
std::optional<Number> parseDecimal(std::string_view text) {
    const bool negative = text.starts_with('-');
    const std::string_view digits = negative || text.starts_with('+') ? text.substr(1) : text;
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    const bool readsSign = negative && std::is_signed_v<Number>;
    const char* first = readsSign ? text.data() : digits.data();
    const char* last = text.data() + text.size();
    Number number = 0;
    if (std::from_chars(first, last, number).ec != std::errc()) {
        return std::nullopt;
    }
    if (negative && !readsSign && number != 0) {
        return std::nullopt;
    }
    return number;
}

}  // namespace brellin
