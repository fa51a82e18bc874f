#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace brellin {

/// The double nearest to a JSON number whose text arrives in pieces. However long the number is, only so
/// many of its digits are kept as can matter.
class NearestDouble {
  public:
    /// Adds a piece of the number's text, which must be well formed as a whole.
    void append(std::string_view part);

    /// Infinite when the number is beyond the range of a double.
    double value() const;

    /// Forgets the number.
    void clear() { *this = {}; }

    /// How much text came.
    std::size_t size() const { return size_; }

  private:
    void appendDigit(char digit);

    enum class Section { integer, fraction, exponent };

    Section section_ = Section::integer;
    bool isNegative_ = false;
    bool isExponentNegative_ = false;
    bool isCut_ = false;         ///< a digit other than 0 follows those that are kept
    std::int64_t exponent_ = 0;  ///< the one that is written
    std::int64_t scale_ = 0;  ///< the power of ten of the last digit that is kept, apart from `exponent_`
    std::string digits_;      ///< from the first that is not 0
    std::size_t size_ = 0;
};

}  // namespace brellin
