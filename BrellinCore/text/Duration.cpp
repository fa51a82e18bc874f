#include "BrellinCore/text/Duration.h"

#include "BrellinCore/text/Decimal.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace brellin::Duration {

namespace {

struct Unit {
    std::string_view name;
    std::int64_t milliseconds;
};

constexpr std::array<Unit, 6> units = {
    {{"w", 604'800'000}, {"d", 86'400'000}, {"h", 3'600'000}, {"m", 60'000}, {"s", 1000}, {"ms", 1}}};
constexpr std::int64_t longest = std::int64_t{365'250} * 86'400'000;  // a thousand years

/// Takes the characters of a kind off the front.
std::string_view takeAllOf(std::string_view& text, std::string_view kind) {
    const std::string_view taken = text.substr(0, text.find_first_not_of(kind));
    text.remove_prefix(taken.size());
    return taken;
}

/// Takes "7" or "7.25" of a unit off the front.
std::optional<std::int64_t> takeNumber(std::string_view& text, std::int64_t unit) {
    constexpr std::string_view digits = "0123456789";
    const auto whole = parseDecimal<std::int64_t>(takeAllOf(text, digits));
    if (!whole || *whole > longest / unit) {
        return std::nullopt;
    }
    if (!text.starts_with('.')) {
        return *whole * unit;
    }
    text.remove_prefix(1);
    const std::string_view fraction = takeAllOf(text, digits);
    if (fraction.empty()) {
        return std::nullopt;
    }
    std::int64_t part = 0;
    std::int64_t scale = 1;
    // Nine digits of a week are less than a millisecond, and their product fits.
    for (const char digit : fraction.substr(0, 9)) {
        part = part * 10 + (digit - '0');
        scale *= 10;
    }
    return *whole * unit + part * unit / scale;
}

/// The unit that stands behind the number at the front; the second where nothing stands there.
const Unit* unitBehindNumber(std::string_view text) {
    takeAllOf(text, "0123456789.");
    const std::string_view name = takeAllOf(text, "abcdefghijklmnopqrstuvwxyz");
    const auto unit = std::ranges::find(units, name.empty() && text.empty() ? "s" : name, &Unit::name);
    return unit == units.end() ? nullptr : &*unit;
}

}  // namespace

std::optional<std::chrono::milliseconds> parse(std::string_view text) {
    const bool hasUnits = text.find_first_not_of("0123456789.") != std::string_view::npos;
    std::int64_t sum = 0;
    const Unit* previous = nullptr;
    do {
        const Unit* unit = unitBehindNumber(text);
        const auto number = unit == nullptr ? std::nullopt : takeNumber(text, unit->milliseconds);
        const bool isInOrder = previous == nullptr || (unit != nullptr && unit > previous);
        if (!number || !isInOrder || (hasUnits && !text.starts_with(unit->name))) {
            return std::nullopt;
        }
        text.remove_prefix(hasUnits ? unit->name.size() : 0);
        previous = unit;
        sum += *number;
    } while (!text.empty());
    return sum <= longest ? std::optional(std::chrono::milliseconds(sum)) : std::nullopt;
}

std::string describe(std::chrono::milliseconds duration) {
    const bool isNegative = duration.count() < 0;
    auto left = static_cast<std::uint64_t>(duration.count());
    left = isNegative ? 0 - left : left;  // also right for the smallest number, whose opposite does not fit
    std::string text;
    for (const Unit& unit : units) {
        const auto length = static_cast<std::uint64_t>(unit.milliseconds);
        if (unit.name != "w" && left >= length) {
            text += fmt::format("{}{}", left / length, unit.name);
            left %= length;
        }
    }
    return (isNegative ? "-" : "") + (text.empty() ? "0s" : text);
}

}  // namespace brellin::Duration
