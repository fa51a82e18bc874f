#include "BrellinCore/text/PlainJson.h"

#include "BrellinCore/text/ByteScan.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

namespace brellin::PlainJson {

namespace {

using Member = JsonReader::Member;

/// A value: what a string holds, or how anything else is written.
struct Value {
    enum class Kind { string, integer, word };

    Kind kind = Kind::word;
    std::string_view text;
    std::int64_t number = 0;  ///< of an integer
};

/// Takes one token after another, white space before it included. A string that is not plain ends it all.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : next_(text.data()), end_(text.data() + text.size()) {}

    bool isAtEnd() {
        skipWhiteSpace();
        return next_ == end_;
    }

    bool take(char sign) {
        if (!isNext(sign)) {
            skipWhiteSpace();  // there is seldom any
            if (!isNext(sign)) {
                return false;
            }
        }
        ++next_;
        return true;
    }

    /// @param text what stands between the quotes
    bool takeString(std::string_view& text) {
        if (!take('"')) {
            return false;
        }
        const char* const content = next_;
        next_ = ByteScan::find(content, end_, ByteScan::endsOrNonAscii);
        if (!isNext('"')) {
            return false;
        }
        text = {content, static_cast<std::size_t>(next_ - content)};
        ++next_;
        return true;
    }

    bool takeValue(Value& value) {
        if (takeString(value.text)) {
            value.kind = Value::Kind::string;
            return true;
        }
        if (takeInteger(value)) {
            value.kind = Value::Kind::integer;
            return true;
        }
        value.kind = Value::Kind::word;
        return takeWord("true", value.text) || takeWord("false", value.text) ||
               takeWord("null", value.text);
    }

  private:
    bool isNext(char sign) const { return next_ != end_ && *next_ == sign; }

    void skipWhiteSpace() {
        while (next_ != end_ && (*next_ == ' ' || *next_ == '\n' || *next_ == '\r' || *next_ == '\t')) {
            ++next_;
        }
    }

    bool takeInteger(Value& value) {
        constexpr std::ptrdiff_t mostDigits = 18;  // as many as always fit 64 bits
        const bool isNegative = isNext('-');
        const char* const first = next_ + (isNegative ? 1 : 0);
        const char* const limit = first + std::min(end_ - first, mostDigits);
        const char* last = first;
        std::int64_t amount = 0;
        for (; last != limit && *last >= '0' && *last <= '9'; ++last) {
            amount = 10 * amount + (*last - '0');
        }
        // What follows it, be it another digit, is no comma and no bracket, and thus found to be not plain.
        if (last == first || (*first == '0' && last - first > 1)) {
            return false;
        }
        value.text = {next_, static_cast<std::size_t>(last - next_)};
        value.number = isNegative ? -amount : amount;
        next_ = last;
        return true;
    }

    bool takeWord(std::string_view word, std::string_view& text) {
        text = {next_, std::min(static_cast<std::size_t>(end_ - next_), word.size())};
        const bool isThere = text == word;
        next_ += isThere ? word.size() : 0;
        return isThere;
    }

    const char* next_;
    const char* end_;
};

std::string source(const Value& value) {
    std::string text(value.text);
    return value.kind == Value::Kind::string ? '"' + text + '"' : text;
}

/// Puts a value where it is wanted; one of another type makes the member absent.
void keep(const Value& value, const Member& member) {
    member.clear();
    if (const auto* text = std::get_if<0>(&member.value)) {
        if (value.kind == Value::Kind::string) {
            (*text)->emplace(value.text);
        }
    } else if (const auto* number = std::get_if<1>(&member.value)) {
        if (value.kind == Value::Kind::integer) {
            (*number)->emplace(value.number);
        }
    } else {
        (*std::get_if<2>(&member.value))->emplace().text = source(value);
    }
}

/// The members of the top level that are wanted.
class Wanted {
  public:
    explicit Wanted(std::span<const Member> members) : members_(members) {
        for (const Member& member : members_) {
            marks_ |= mark(member.key);
        }
    }

    /// The one with that key; nullptr when there is none. Members are mostly written in one order, which is
    /// that of the list: the search goes on where it ended.
    const Member* find(std::string_view key) {
        if (key.empty() || (marks_ & mark(key)) == 0) {
            return nullptr;
        }
        for (std::size_t count = 0; count < members_.size(); ++count) {
            const Member& member = members_[next_];
            next_ = next_ + 1 == members_.size() ? 0 : next_ + 1;
            if (member.key == key && member.object.empty()) {
                return &member;
            }
        }
        return nullptr;
    }

  private:
    /// One bit of 64, which tells most keys from those that are wanted.
    static std::uint64_t mark(std::string_view key) {
        return std::uint64_t{1} << ((5 * key.size() + static_cast<unsigned char>(key.front())) % 64);
    }

    std::span<const Member> members_;
    std::size_t next_ = 0;
    std::uint64_t marks_ = 0;
};

bool readMember(Scanner& scanner, Wanted& wanted) {
    std::string_view key;
    Value value;
    if (!scanner.takeString(key) || !scanner.take(':') || !scanner.takeValue(value)) {
        return false;
    }
    if (const Member* member = wanted.find(key)) {
        keep(value, *member);
    }
    return true;
}

}  // namespace

bool read(std::string_view text, std::span<const Member> members) {
    std::ranges::for_each(members, &Member::clear);
    Scanner scanner(text);
    if (!scanner.take('{')) {
        return false;
    }
    if (scanner.take('}')) {
        return scanner.isAtEnd();
    }
    Wanted wanted(members);
    while (readMember(scanner, wanted)) {
        if (!scanner.take(',')) {
            return scanner.take('}') && scanner.isAtEnd();
        }
    }
    return false;
}

}  // namespace brellin::PlainJson
