#include "BrellinCore/text/SurrogateRepair.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <system_error>

namespace brellin {

namespace {

constexpr std::size_t escapeSize = 6;  // \ud83d
constexpr std::size_t pairSize = 2 * escapeSize;

/// The UTF-16 unit of the "\ud…" at the beginning of the text; nullopt when there is none. Every half of a
/// pair is such a unit, and few other escapes are.
std::optional<std::uint16_t> unitAt(std::string_view text) {
    if (text.size() < escapeSize || text[0] != '\\' || text[1] != 'u' ||
        (text[2] != 'd' && text[2] != 'D')) {
        return std::nullopt;
    }
    std::uint16_t unit = 0;
    const char* const end = text.data() + escapeSize;
    const auto parsed = std::from_chars(text.data() + 2, end, unit, 16);
    return parsed.ptr == end ? std::optional(unit) : std::nullopt;
}

bool isLeading(std::uint16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isTrailing(std::uint16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

struct Escape {
    std::size_t size;
    bool isUnpaired;
};

/// The escape, or the pair of two, at the beginning of the text.
Escape escapeAt(std::string_view text) {
    const auto unit = unitAt(text);
    if (!unit) {
        return {2, false};  // another escape, or a wrong one, which the parser refuses
    }
    if (!isLeading(*unit)) {
        return {escapeSize, isTrailing(*unit)};
    }
    const auto next = unitAt(text.substr(escapeSize));
    return next && isTrailing(*next) ? Escape{pairSize, false} : Escape{escapeSize, true};
}

}  // namespace

std::string_view SurrogateRepair::repair(std::string_view piece, bool isLast) {
    std::string_view text = waiting_.empty() ? piece : joined(piece);
    std::size_t position = text.find('\\');
    while (position != std::string_view::npos) {
        const std::string_view rest = text.substr(position);
        if (rest.size() < pairSize && !isLast) {
            waiting_ = rest;
            return text.substr(0, position);
        }
        const Escape escape = escapeAt(rest);
        if (escape.isUnpaired) {
            replaceEscape(text, position);
        }
        position = text.find('\\', position + escape.size);
    }
    return text;
}

std::string_view SurrogateRepair::joined(std::string_view piece) {
    copy_.assign(waiting_).append(piece);
    waiting_.clear();
    return copy_;
}

void SurrogateRepair::replaceEscape(std::string_view& text, std::size_t position) {
    if (text.data() != copy_.data()) {
        text = copy_.assign(text);
    }
    copy_.replace(position, escapeSize, "\\ufffd");
}

}  // namespace brellin
