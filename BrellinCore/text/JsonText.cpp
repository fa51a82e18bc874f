#include "BrellinCore/text/JsonText.h"

#include <algorithm>
#include <cstddef>

namespace brellin::JsonText {

namespace {

void appendEscape(std::string& json, char character) {
    constexpr std::string_view named = "\"\\\b\f\n\r\t";
    constexpr std::string_view names = "\"\\bfnrt";
    constexpr std::string_view digits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(character);
    json += '\\';
    if (const std::size_t place = named.find(character); place != std::string_view::npos) {
        json += names[place];
    } else {
        json.append("u00").append({digits[byte / 16U], digits[byte % 16U]});
    }
}

bool needsEscape(char character) {
    return character == '"' || character == '\\' || static_cast<unsigned char>(character) < ' ';
}

}  // namespace

void appendString(std::string& json, std::string_view text) {
    json += '"';
    while (!text.empty()) {
        const auto end = static_cast<std::size_t>(std::ranges::find_if(text, needsEscape) - text.begin());
        json.append(text.substr(0, end));
        text.remove_prefix(end);
        if (!text.empty()) {
            appendEscape(json, text.front());
            text.remove_prefix(1);
        }
    }
    json += '"';
}

}  // namespace brellin::JsonText
