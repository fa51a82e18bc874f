#include "BrellinCore/text/JsonReader.h"

#include "BrellinCore/text/JsonSelection.h"
#include "BrellinCore/text/SurrogateRepair.h"

#include <boost/json/basic_parser_impl.hpp>

#include <new>
#include <utility>

namespace brellin {

namespace json = boost::json;

/// The parser, and before it what it knows nothing of: byte order marks and halves of surrogate pairs.
class JsonReader::Parser {
  public:
    /// @param wanted what the selection is made of
    template <typename Whole>
    explicit Parser(Whole& wanted) : parser_(options(), wanted) {}

    /// Takes the next piece; false when the text is refused.
    bool take(std::string_view piece, bool isLast) {
        isRefused_ = isRefused_ || !parse(piece, isLast);
        if (isRefused_) {
            parser_.handler().makeAllAbsent();
        }
        return !isRefused_;
    }

    /// Takes the whole text. That happens in pieces, since one with half of a pair is copied.
    bool takeAll(std::string_view text) {
        constexpr std::size_t pieceSize = std::size_t{64} << 10U;
        for (; text.size() > pieceSize; text.remove_prefix(pieceSize)) {
            if (!take(text.substr(0, pieceSize), false)) {
                return false;
            }
        }
        return take(text, true);
    }

  private:
    static json::parse_options options() {
        json::parse_options options;
        options.max_depth = maxDepth;
        return options;
    }

    bool parse(std::string_view piece, bool isLast) try {
        if (!skipByteOrderMark(piece)) {
            return false;
        }
        const std::string_view text = surrogates_.repair(piece, isLast);
        json::error_code error;
        const std::size_t consumed = parser_.write_some(!isLast, text.data(), text.size(), error);
        return !error && consumed == text.size();
    } catch (const std::bad_alloc&) {
        return false;  // there is no memory for what is to be kept
    }

    /// False when a piece of a mark stands where the document should begin.
    bool skipByteOrderMark(std::string_view& piece) {
        constexpr std::string_view mark = "\uFEFF";
        while (markSize_ < mark.size() && !piece.empty()) {
            if (piece.front() != mark[markSize_]) {
                return std::exchange(markSize_, mark.size()) == 0;
            }
            ++markSize_;
            piece.remove_prefix(1);
        }
        return true;
    }

    json::basic_parser<JsonSelection> parser_;
    SurrogateRepair surrogates_;
    std::size_t markSize_ = 0;  ///< of the byte order mark that came; its whole size when none can come
    bool isRefused_ = false;
};

bool JsonReader::read(std::string_view text, std::span<const Member> members) {
    return Parser(members).takeAll(text);
}

std::optional<std::vector<std::string>> JsonReader::readStrings(std::string_view text) {
    std::vector<std::string> strings;
    return Parser(strings).takeAll(text) ? std::optional(std::move(strings)) : std::nullopt;
}

JsonReader::JsonReader(std::span<const Member> members) : parser_(std::make_unique<Parser>(members)) {}

JsonReader::~JsonReader() = default;

bool JsonReader::feed(std::string_view piece) {
    return parser_->take(piece, false);
}

bool JsonReader::finish() {
    return parser_->take({}, true);
}

}  // namespace brellin
