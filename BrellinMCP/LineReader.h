#pragma once

#include "BrellinCore/platform/Descriptor.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace brellin {

/// Cuts a byte stream into lines. Every byte is searched once and moved a constant number of times, however
/// long the line and however small the pieces in which it arrives.
class LineReader {
  public:
    struct Line {
        std::string_view text;     ///< without its line feed; a carriage return before it stays
        bool isTruncated = false;  ///< there was no memory for the line: `text` is only its end
    };

    /// @param input read from, not owned beyond this object
    explicit LineReader(const Descriptor& input) : input_(input) {}

    /// The next line, valid until the next call. Blocks until it is there. A last line without a line feed
    /// counts. nullopt at the end of input and after a read error.
    std::optional<Line> next();

  private:
    std::optional<Line> takeLine();
    std::optional<Line> takeRest();
    void discardConsumed();
    void makeRoom();
    void moveRestTo(std::size_t size);
    bool fill();

    const Descriptor& input_;
    // Never filled with zeros: memory that no line needs stays untouched.
    std::unique_ptr<char[]> buffer_;  // NOLINT(modernize-avoid-c-arrays): of any size
    std::size_t size_ = 0;            ///< of the buffer
    std::size_t begin_ = 0;           ///< first byte that was not handed out
    std::size_t searched_ = 0;        ///< bytes before this one hold no line feed, from begin_ on
    std::size_t end_ = 0;             ///< behind the last byte read
    bool isTruncated_ = false;        ///< the current line lost its beginning
};

}  // namespace brellin
