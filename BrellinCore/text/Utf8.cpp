#include "BrellinCore/text/Utf8.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <span>
#include <utility>

namespace brellin::Utf8 {

namespace {

// UTF-8 forms of the blanks, then of the line breaks: the blanks are a prefix of all white space. No form
// is the tail of another character's, so they can be taken off at either end.
constexpr std::size_t blankCount = 18;
constexpr std::array<std::string_view, 25> whiteSpace = {
    "\t",     " ",      "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004",
    "\u2005", "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000",
    "\n",     "\v",     "\f",     "\r",     "\u0085", "\u2028", "\u2029",
};

std::string_view trim(std::string_view text, std::span<const std::string_view> unwanted) {
    const auto standsFirst = [&](std::string_view form) { return text.starts_with(form); };
    const auto standsLast = [&](std::string_view form) { return text.ends_with(form); };
    for (auto form = std::ranges::find_if(unwanted, standsFirst); form != unwanted.end();
         form = std::ranges::find_if(unwanted, standsFirst)) {
        text.remove_prefix(form->size());
    }
    for (auto form = std::ranges::find_if(unwanted, standsLast); form != unwanted.end();
         form = std::ranges::find_if(unwanted, standsLast)) {
        text.remove_suffix(form->size());
    }
    return text;
}

bool isPrintableAscii(char byte) {
    return byte > ' ' && byte <= '~';
}

/// Marks that end a line or turn the direction of writing, and tags, which nothing shows.
bool isInvisibleMark(std::uint32_t character) {
    constexpr std::array<std::pair<std::uint32_t, std::uint32_t>, 6> ranges = {{{0x061C, 0x061C},
                                                                                {0x200E, 0x200F},
                                                                                {0x2028, 0x202E},
                                                                                {0x2066, 0x2069},
                                                                                {0xFFF9, 0xFFFB},
                                                                                {0xE0000, 0xE007F}}};
    return std::ranges::any_of(
        ranges, [&](const auto& range) { return character >= range.first && character <= range.second; });
}

bool isAscii(char byte) {
    return static_cast<unsigned char>(byte) < 0x80;
}

}  // namespace

bool isValid(std::string_view text) {
    // No sequence holds an ASCII byte, so each run of other bytes is valid or not by itself; most texts
    // have few of them.
    const auto* const end = text.end();
    for (const auto* run = std::ranges::find_if_not(text, isAscii); run != end;) {
        const auto* const runEnd = std::find_if(run, end, isAscii);
        if (!::utf8::is_valid(run, runEnd)) {
            return false;
        }
        run = std::find_if_not(runEnd, end, isAscii);
    }
    return true;
}

std::string repaired(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    ::utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(result), 0xFFFD);
    return result;
}

std::string printable(std::string_view text) {
    const std::string valid = repaired(text);
    std::string visible;
    for (auto next = valid.begin(); next != valid.end();) {
        const std::uint32_t character = ::utf8::next(next, valid.end());
        const bool isControl =
            (character < 0x20 && character != '\t') || (character >= 0x7F && character < 0xA0);
        const bool isHidden = isControl || isInvisibleMark(character);
        ::utf8::append(isHidden ? 0xFFFD : character, std::back_inserter(visible));
    }
    return visible;
}

std::string_view prefix(std::string_view text, std::size_t count) {
    std::size_t seen = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const bool startsCharacter = (static_cast<unsigned char>(text[index]) & 0xC0U) != 0x80U;
        if (startsCharacter && seen++ == count) {
            return text.substr(0, index);
        }
    }
    return text;
}

std::string_view trimmed(std::string_view text) {
    // Nearly every line begins with "{" and ends with "}".
    if (!text.empty() && isPrintableAscii(text.front()) && isPrintableAscii(text.back())) {
        return text;
    }
    return trim(text, whiteSpace);
}

std::string_view trimmedOfBlanks(std::string_view text) {
    return trim(text, std::span(whiteSpace).first(blankCount));
}

}  // namespace brellin::Utf8
