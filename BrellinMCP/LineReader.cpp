#include "BrellinMCP/LineReader.h"

#include "BrellinCore/platform/ProcessSetup.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace brellin {

namespace {

constexpr std::size_t pieceSize = std::size_t{64} << 10U;
constexpr std::size_t maxKeptBuffer = std::size_t{1} << 20U;

}  // namespace

std::optional<LineReader::Line> LineReader::next() {
    for (;;) {
        if (const auto line = takeLine()) {
            return line;
        }
        discardConsumed();
        if (!fill()) {
            return takeRest();
        }
    }
}

/// Hands out the line up to the next line feed, if there is one among the bytes read so far.
std::optional<LineReader::Line> LineReader::takeLine() {
    const char* unsearched = buffer_.get() + searched_;
    const void* feed = end_ == searched_ ? nullptr : std::memchr(unsearched, '\n', end_ - searched_);
    if (feed == nullptr) {
        searched_ = end_;
        return std::nullopt;
    }
    const char* start = buffer_.get() + begin_;
    const std::string_view text(start, static_cast<const char*>(feed));
    begin_ += text.size() + 1;
    searched_ = begin_;
    return Line{text, std::exchange(isTruncated_, false)};
}

/// Hands out what stands behind the last line feed.
std::optional<LineReader::Line> LineReader::takeRest() {
    if (begin_ == end_ && !isTruncated_) {
        return std::nullopt;
    }
    const std::string_view text(buffer_.get() + begin_, end_ - begin_);
    begin_ = searched_ = end_;
    return Line{text, std::exchange(isTruncated_, false)};
}

/// Moves what is left of the last piece to the front; a buffer that a long line made large is given back
/// before the wait for the next one.
void LineReader::discardConsumed() {
    if (begin_ == 0) {
        return;
    }
    const std::size_t rest = end_ - begin_;
    if (size_ > maxKeptBuffer && rest < pieceSize) {
        moveRestTo(2 * pieceSize);
        ProcessSetup::releaseFreedMemory();
        return;
    }
    std::memmove(buffer_.get(), buffer_.get() + begin_, rest);
    searched_ -= begin_;
    end_ = rest;
    begin_ = 0;
}

/// Puts what was not handed out to the front of a buffer of that size.
void LineReader::moveRestTo(std::size_t size) {
    auto buffer = std::make_unique_for_overwrite<char[]>(size);  // NOLINT(modernize-avoid-c-arrays)
    std::copy(buffer_.get() + begin_, buffer_.get() + end_, buffer.get());
    buffer_ = std::move(buffer);
    size_ = size;
    searched_ -= begin_;
    end_ -= begin_;
    begin_ = 0;
}

/// Makes room for another piece. Without memory for it, drop the line and mark it truncated: the stream
/// goes on with the next one.
void LineReader::makeRoom() {
    if (size_ - end_ >= pieceSize) {
        return;
    }
    try {
        moveRestTo(std::max(2 * size_, end_ + pieceSize));
    } catch (const std::bad_alloc&) {
        isTruncated_ = true;
        begin_ = searched_ = end_ = 0;
    }
}

/// Reads one more piece; false at the end of input.
bool LineReader::fill() {
    makeRoom();
    const std::size_t room = std::min(pieceSize, size_ - end_);
    const auto count = input_.readSome(buffer_.get() + end_, room);
    end_ += count.value_or(0);
    return count.value_or(0) > 0;
}

}  // namespace brellin
