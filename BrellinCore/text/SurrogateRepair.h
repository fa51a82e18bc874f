#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brellin {

/// Makes JSON text of JSON that was cut in the middle of a character. JavaScript counts in UTF-16 units, so
/// a name cut after so many of them may end in half an emoji, which is written as an escape without its
/// other half
/// ("fix \ud83d"). Such an escape becomes that of U+FFFD; everything else stays as it is, also what is
/// wrong.
class SurrogateRepair {
  public:
    /// The text up to here, without what was returned before. An escape near the end of the piece waits for
    /// the next one, which may bring the other half.
    ///
    /// @param isLast nothing follows, so nothing waits
    /// @return valid until the next call and as long as the piece; usually the piece itself
    std::string_view repair(std::string_view piece, bool isLast);

  private:
    std::string_view joined(std::string_view piece);
    void replaceEscape(std::string_view& text, std::size_t position);

    std::string waiting_;
    std::string copy_;  ///< a piece that is not returned as it came
};

}  // namespace brellin
