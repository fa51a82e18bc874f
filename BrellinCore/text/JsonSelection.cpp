#include "BrellinCore/text/JsonSelection.h"

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <array>
#include <utility>
#include <variant>

namespace brellin {

namespace json = boost::json;
using Member = JsonReader::Member;

namespace {

bool refuse(json::error_code& error) {
    error = json::error::syntax;
    return false;
}

/// Most keys differ in their size or their first letter, and then need no call to be compared.
bool isSame(std::string_view wantedKey, std::string_view key) {
    return wantedKey.size() == key.size() && wantedKey.front() == key.front() && wantedKey == key;
}

/// A double as a whole number; nullopt when it is none, or does not fit.
std::optional<std::int64_t> asWholeNumber(double number) {
    // 2^63 as a double is exact; -2^63 is the least 64-bit number, 2^63 is one too many.
    constexpr double limit = 9223372036854775808.0;
    if (number < -limit || number >= limit || std::trunc(number) != number) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(number);
}

}  // namespace

JsonSelection::JsonSelection(std::span<const Member> members) : members_(members), wanted_(Wanted::object) {
    makeAllAbsent();
}

void JsonSelection::makeAllAbsent() const {
    std::ranges::for_each(members_, &Member::clear);
}

bool JsonSelection::takeKeyPart(std::string_view part, std::size_t size) {
    if (wanted_ == Wanted::source || size <= longestKey()) {
        parts_ += part;
    }
    return true;
}

void JsonSelection::takeLastKeyPart(std::string_view part, std::size_t size) {
    parts_ += part;
    // Of a key that is longer than any that is wanted, not every part was kept.
    expectValueOf(parts_.size() == size ? std::string_view(parts_) : std::string_view());
    parts_.clear();
}

std::size_t JsonSelection::longestKey() const {
    std::size_t longest = 0;
    for (const Member& member : members_) {
        longest = std::max({longest, member.key.size(), member.object.size()});
    }
    return longest;
}

void JsonSelection::expectValueOf(std::string_view key) {
    for (const Member& member : members_) {
        if (isSame(member.key, key) && member.object == path_) {
            expectValueOf(member);
            return;
        }
    }
    for (const Member& member : members_) {
        const bool leadsOn = member.object.size() > path_.size();
        if (const std::size_t end = leadsOn ? endOfStep(member.object, key) : 0; end > 0) {
            member.clear();
            nextPath_ = member.object.substr(0, end);
            wanted_ = Wanted::object;
        }
    }
}

void JsonSelection::expectValueOf(const Member& member) {
    constexpr std::array kinds = {Wanted::text, Wanted::wholeNumber, Wanted::source};
    // What an earlier duplicate held counts no longer.
    member.clear();
    member_ = &member;
    wanted_ = kinds[member.value.index()];
    if (wanted_ == Wanted::source) {
        (*std::get_if<2>(&member.value))->emplace();
    }
}

/// Where the key ends in a path to an object; 0 when it is not the one that comes next there.
std::size_t JsonSelection::endOfStep(std::string_view path, std::string_view key) const {
    const std::size_t begin = path_.empty() ? 0 : path_.size() + 1;
    const std::size_t end = begin + key.size();
    const bool isNext =
        end <= path.size() && path.substr(begin, key.size()) == key && path.starts_with(path_);
    const bool isStep =
        isNext && (begin == 0 || path[begin - 1] == '.') && (end == path.size() || path[end] == '.');
    return isStep && key.find('.') == std::string_view::npos ? end : 0;
}

void JsonSelection::enterObject() {
    pathDepth_ = depth_;
    path_ = nextPath_;
    wanted_ = Wanted::nothing;
}

void JsonSelection::leaveObject() {
    --pathDepth_;
    const std::size_t dot = path_.rfind('.');
    path_ = path_.substr(0, dot == std::string_view::npos ? 0 : dot);
}

bool JsonSelection::takeBeginning(char bracket, Wanted fitting, Error& error) {
    if (wanted_ == Wanted::source) {
        appendToSource({&bracket, 1});
        return true;
    }
    if (wanted_ != fitting) {
        return endValue(error);
    }
    if (fitting == Wanted::object) {
        enterObject();
    } else {
        wanted_ = Wanted::element;
    }
    return true;
}

bool JsonSelection::takeEnd(char bracket) {
    if (wanted_ == Wanted::source) {
        source() += bracket;
        wanted_ = depth_ == pathDepth_ ? Wanted::nothing : Wanted::source;
    }
    return true;
}

bool JsonSelection::takeStringPart(std::string_view part) {
    if (wanted_ == Wanted::text) {
        (text() ? *text() : text().emplace()) += part;
    } else if (wanted_ == Wanted::source) {
        parts_ += part;
    } else if (wanted_ == Wanted::element) {
        (std::exchange(isElementOpen_, true) ? list_->back() : list_->emplace_back()) += part;
    }
    return true;
}

bool JsonSelection::takeString(std::string_view part, Error& error) {
    if (wanted_ == Wanted::text && !text()) {
        text().emplace(part);
        wanted_ = Wanted::nothing;
        return true;
    }
    if (wanted_ == Wanted::source) {
        appendStringToSource(part);
        return endValue(error);
    }
    takeStringPart(part);
    return std::exchange(isElementOpen_, false) || endValue(error);
}

bool JsonSelection::takeNumberPart(std::string_view part, Error& error) {
    // The parser counts a number's digits in an `int`.
    constexpr std::size_t longestNumber = std::size_t{1} << 30U;
    appendNumberToSource(part);
    number_.append(part);
    return number_.size() <= longestNumber || refuse(error);
}

/// @param whole nullopt when the integer is no whole number of 64 bits
bool JsonSelection::takeInteger(std::optional<std::int64_t> whole, std::string_view part, Error& error) {
    appendNumberToSource(part);
    if (number_.size() > 0) {
        number_.clear();
    }
    if (wanted_ == Wanted::wholeNumber) {
        wholeNumber() = whole;
        wanted_ = Wanted::nothing;
        return true;
    }
    return endValue(error);
}

bool JsonSelection::takeDouble(std::string_view part, Error& error) {
    appendNumberToSource(part);
    number_.append(part);
    const double value = number_.value();
    number_.clear();
    if (!std::isfinite(value)) {
        return refuse(error);
    }
    if (wanted_ == Wanted::wholeNumber) {
        wholeNumber() = asWholeNumber(value);
    }
    return endValue(error);
}

bool JsonSelection::takeWord(std::string_view word, Error& error) {
    if (wanted_ == Wanted::source) {
        appendToSource(word);
    }
    return endValue(error);
}

/// A value has been taken, or is not of the kind that was wanted.
bool JsonSelection::endValue(Error& error) {
    if (pathDepth_ == 0) {
        return refuse(error);  // a document, and an element of a list, must be what was wanted
    }
    if (wanted_ != Wanted::source || depth_ == pathDepth_) {
        wanted_ = Wanted::nothing;
    }
    return true;
}

/// Adds the beginning of a value, or a key, with the comma that may be due before it.
void JsonSelection::appendToSource(std::string_view text) {
    constexpr std::string_view opening = "[{:";
    if (!source().empty() && opening.find(source().back()) == std::string_view::npos) {
        source() += ',';
    }
    source() += text;
}

void JsonSelection::appendNumberToSource(std::string_view part) {
    if (wanted_ != Wanted::source) {
        return;
    }
    if (number_.size() == 0) {
        appendToSource(part);
    } else {
        source() += part;
    }
}

void JsonSelection::appendStringToSource(std::string_view part) {
    parts_ += part;
    appendToSource(json::serialize(json::string_view(parts_)));
    parts_.clear();
}

void JsonSelection::appendKeyToSource(std::string_view part) {
    appendStringToSource(part);
    source() += ':';
}

}  // namespace brellin
