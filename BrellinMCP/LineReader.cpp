#include "BrellinMCP/LineReader.h"

#include "BrellinCore/platform/ProcessSetup.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace brellin {

namespace {

constexpr std::size_t pieceSize = std::size_t{64} << 10U;
constexpr std::size_t largestKeptBuffer = std::size_t{1} << 20U;
constexpr std::string_view tooLongLine = "?";

}  // namespace

std::optional<std::string_view> LineReader::next() {
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
std::optional<std::string_view> LineReader::takeLine() {
    const char* unsearched = buffer_.data() + searched_;
    const void* feed = end_ == searched_ ? nullptr : std::memchr(unsearched, '\n', end_ - searched_);
    if (feed == nullptr) {
        searched_ = end_;
        return std::nullopt;
    }
    const char* start = buffer_.data() + begin_;
    const std::string_view line(start, static_cast<const char*>(feed));
    begin_ += line.size() + 1;
    searched_ = begin_;
    return std::exchange(isTooLong_, false) ? tooLongLine : line;
}

/// Hands out what stands behind the last line feed.
std::optional<std::string_view> LineReader::takeRest() {
    if (begin_ == end_) {
        return std::nullopt;
    }
    const std::string_view rest(buffer_.data() + begin_, end_ - begin_);
    begin_ = searched_ = end_;
    return std::exchange(isTooLong_, false) ? tooLongLine : rest;
}

/// Moves what is left of the last piece to the front; a buffer that a long line made large is given back
/// before the wait for the next one.
void LineReader::discardConsumed() {
    if (begin_ == 0) {
        return;
    }
    const std::size_t rest = end_ - begin_;
    if (buffer_.size() > largestKeptBuffer && rest < pieceSize) {
        std::vector<char> smaller(2 * pieceSize);
        std::copy_n(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_), rest, smaller.begin());
        buffer_ = std::move(smaller);
        ProcessSetup::releaseFreedMemory();
    } else {
        std::memmove(buffer_.data(), buffer_.data() + begin_, rest);
    }
    searched_ -= begin_;
    end_ = rest;
    begin_ = 0;
}

/// Sees to it that another piece fits. Where the memory for that cannot be had, what is there of the line
/// is given up: the stream goes on with the next one.
void LineReader::makeRoom() {
    if (buffer_.size() - end_ >= pieceSize) {
        return;
    }
    try {
        buffer_.resize(std::max(2 * buffer_.size(), end_ + pieceSize));
    } catch (const std::bad_alloc&) {
        isTooLong_ = true;
        begin_ = searched_ = end_ = 0;
    }
}

/// Reads one more piece; false at the end of input.
bool LineReader::fill() {
    makeRoom();
    const std::size_t room = std::min(pieceSize, buffer_.size() - end_);
    const auto count = input_.readSome(buffer_.data() + end_, room);
    end_ += count.value_or(0);
    return count.value_or(0) > 0;
}

}  // namespace brellin
