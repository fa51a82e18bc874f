#pragma once

#include "BrellinCore/sessions/Liveness.h"

#include <fmt/format.h>

#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace brellin {

/// The word for what is absent.
inline constexpr std::string_view unknownWord = "unknown";

/// The value, or a word in its place.
inline std::string_view valueOr(const std::optional<std::string>& value, std::string_view word) {
    return value ? std::string_view(*value) : word;
}

/// The sign that stands before whatever has this verdict.
std::string_view glyph(Liveness state);

/// A report under construction: lines joined by single line feeds, none after the last.
class ReportText {
  public:
    /// @param expectedSize of the whole text in bytes, so that a large one is not moved while it grows
    explicit ReportText(std::size_t expectedSize = 0) { text_.reserve(expectedSize); }

    /// Appends one line, written as for fmt::format.
    template <typename... Arguments>
    void line(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
        startLine();
        fmt::format_to(std::back_inserter(text_), format, std::forward<Arguments>(arguments)...);
    }
    void emptyLine() { startLine(); }

    std::string take() && { return std::move(text_); }

  private:
    void startLine() {
        if (!std::exchange(isFirst_, false)) {
            text_ += '\n';
        }
    }

    std::string text_;
    bool isFirst_ = true;
};

}  // namespace brellin
