#include "BrellinCore/text/NearestDouble.h"

#include <algorithm>
#include <cstdlib>

namespace brellin {

namespace {

// The longest decimal that lies exactly between two doubles has 768 digits; of what follows those it
// matters only whether anything does.
constexpr std::size_t keptDigits = 800;

// Beyond this the number is 0 or out of range, whatever its digits are: fewer than 2^30 come.
constexpr std::int64_t largestExponent = std::int64_t{1} << 40U;

}  // namespace

void NearestDouble::append(std::string_view part) {
    size_ += part.size();
    for (const char character : part) {
        switch (character) {
            case '-':
                (section_ == Section::exponent ? isExponentNegative_ : isNegative_) = true;
                break;
            case '+':
                break;
            case '.':
                section_ = Section::fraction;
                break;
            case 'e':
            case 'E':
                section_ = Section::exponent;
                break;
            default:
                appendDigit(character);
        }
    }
}

void NearestDouble::appendDigit(char digit) {
    if (section_ == Section::exponent) {
        exponent_ = std::min(10 * exponent_ + (digit - '0'), largestExponent);
        return;
    }
    const bool isKept = digits_.size() < keptDigits;
    if (section_ == Section::fraction) {
        --scale_;
    }
    if (!isKept) {
        ++scale_;
        isCut_ = isCut_ || digit != '0';
    } else if (!digits_.empty() || digit != '0') {
        digits_ += digit;
    }
}

double NearestDouble::value() const {
    if (digits_.empty()) {
        return isNegative_ ? -0.0 : 0.0;
    }
    const std::int64_t exponent = scale_ + (isExponentNegative_ ? -exponent_ : exponent_);
    std::string text = isNegative_ ? "-" : "";
    text.append(digits_).append(isCut_ ? "1e" : "0e").append(std::to_string(exponent - 1));
    return std::strtod(text.c_str(), nullptr);
}

}  // namespace brellin
