#include "BrellinCore/text/JsonText.h"

#include "BrellinCore/text/ByteScan.h"

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

}  // namespace

void appendString(std::string& json, std::string_view text) {
    json += '"';
    while (!text.empty()) {
        const std::size_t end = ByteScan::find(text, ByteScan::ends);
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
