#include "BrellinCore/store/StoreError.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace brellin {

namespace {

std::string_view nameOf(StoreError::Case kind) {
    switch (kind) {
        case StoreError::Case::open:
            return "open";
        case StoreError::Case::step:
            return "step";
        case StoreError::Case::prepare:
            return "prepare";
    }
    return {};
}

std::string escaped(char character) {
    switch (character) {
        case '\\':
            return "\\\\";
        case '"':
            return "\\\"";
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            break;
    }
    const auto code = static_cast<unsigned char>(character);
    const bool isControl = code < 0x20 || code == 0x7F;
    return isControl ? fmt::format("\\u{{{:X}}}", code) : std::string(1, character);
}

std::string textOf(StoreError::Case kind, std::string_view message) {
    std::string text = fmt::format("{}(\"", nameOf(kind));
    for (const char character : message) {
        text += escaped(character);
    }
    return text + "\")";
}

}  // namespace

StoreError::StoreError(Case kind, std::string message)
    : kind_(kind), message_(std::move(message)), text_(textOf(kind_, message_)) {}

}  // namespace brellin
