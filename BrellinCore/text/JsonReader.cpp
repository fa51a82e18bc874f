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

namespace {

/// Where a string of compact JSON ends, its quotes included, that begins at a place.
std::size_t endOfString(std::string_view text, std::size_t begin) {
    std::size_t end = begin + 1;
    while (end < text.size() && text[end] != '"') {
        end += text[end] == '\\' ? 2 : 1;
    }
    return end + 1;
}

/// Where the value of a member ends.
std::size_t endOfValue(std::string_view text, std::size_t begin) {
    std::size_t depth = 0;
    for (std::size_t place = begin; place < text.size();) {
        const char character = text[place];
        const bool closes = character == '}' || character == ']';
        if (depth == 0 && (closes || character == ',')) {
            return place;
        }
        depth += character == '{' || character == '[' ? 1 : 0;
        depth -= closes ? 1 : 0;
        place = character == '"' ? endOfString(text, place) : place + 1;
    }
    return text.size();
}

}  // namespace

// A source is valid and compact, so quotes and brackets are all that has to be looked at.
std::vector<std::pair<std::string, JsonReader::Source>> JsonReader::membersOf(const Source& value) {
    const std::string_view text = value.text;
    std::vector<std::pair<std::string, Source>> members;
    for (std::size_t begin = 1; text.starts_with("{\"") && begin < text.size();) {
        const std::size_t endOfKey = endOfString(text, begin);
        const std::size_t end = endOfValue(text, endOfKey + 1);
        auto key = readStrings("[" + std::string(text.substr(begin, endOfKey - begin)) + "]");
        if (!key || key->size() != 1) {
            return members;
        }
        members.emplace_back(std::move(key->front()),
                             Source{std::string(text.substr(endOfKey + 1, end - endOfKey - 1))});
        begin = end + 1;
    }
    return members;
}

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
