#pragma once

#include "BrellinCore/text/JsonReader.h"
#include "BrellinCore/text/NearestDouble.h"

#include <boost/json/error.hpp>
#include <boost/json/string_view.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// What JsonReader keeps of a document. Boost.JSON's parser calls the `on_…` functions for whatever it
/// meets, a key or a string also by parts, and ends when one of them returns false. Nearly all that it
/// meets is wanted by nobody, so these functions do little more than find that out.
class JsonSelection {
  public:
    /// Members of a document that is an object.
    explicit JsonSelection(std::span<const JsonReader::Member> members);

    /// The elements of a document that is an array of strings.
    explicit JsonSelection(std::vector<std::string>& list) : list_(&list), wanted_(Wanted::list) {}

    void makeAllAbsent() const;

    // NOLINTBEGIN(readability-identifier-naming): the parser looks for these names
    static constexpr std::size_t max_object_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_array_size = max_object_size;
    static constexpr std::size_t max_key_size = max_object_size;
    static constexpr std::size_t max_string_size = max_object_size;

    using Error = boost::json::error_code;
    using Text = boost::json::string_view;

    static bool on_document_begin(Error& /*error*/) { return true; }
    static bool on_document_end(Error& /*error*/) { return true; }
    static bool on_comment_part(Text /*part*/, Error& /*error*/) { return true; }
    static bool on_comment(Text /*part*/, Error& /*error*/) { return true; }

    bool on_object_begin(Error& error) {
        ++depth_;
        return isPassedOver() || takeBeginning('{', Wanted::object, error);
    }
    bool on_object_end(std::size_t /*count*/, Error& /*error*/) {
        if (depth_ == pathDepth_) {
            leaveObject();
        }
        --depth_;
        return isPassedOver() || takeEnd('}');
    }
    bool on_array_begin(Error& error) {
        ++depth_;
        return isPassedOver() || takeBeginning('[', Wanted::list, error);
    }
    bool on_array_end(std::size_t /*count*/, Error& /*error*/) {
        --depth_;
        return isPassedOver() || takeEnd(']');
    }
    bool on_key_part(Text part, std::size_t size, Error& /*error*/) {
        return (isPassedOver() && depth_ != pathDepth_) || takeKeyPart(view(part), size);
    }
    bool on_key(Text part, std::size_t size, Error& /*error*/) {
        if (depth_ == pathDepth_) {
            part.size() == size ? expectValueOf(view(part)) : takeLastKeyPart(view(part), size);
        } else if (wanted_ == Wanted::source) {
            appendKeyToSource(view(part));
        }
        return true;
    }
    bool on_string_part(Text part, std::size_t /*size*/, Error& /*error*/) {
        return isPassedOver() || takeStringPart(view(part));
    }
    bool on_string(Text part, std::size_t /*size*/, Error& error) {
        return isPassedOver() || takeString(view(part), error);
    }
    bool on_number_part(Text part, Error& error) { return takeNumberPart(view(part), error); }
    bool on_int64(std::int64_t number, Text part, Error& error) {
        return isNumberPassedOver() || takeInteger(number, view(part), error);
    }
    bool on_uint64(std::uint64_t /*number*/, Text part, Error& error) {
        return isNumberPassedOver() || takeInteger(std::nullopt, view(part), error);
    }
    bool on_double(double rough, Text part, Error& error) {
        // The parser's number may be off in the last places, and is NaN for a zero with a large exponent.
        constexpr double surelyInRange = 1e308;
        const bool mayBeOutOfRange = std::abs(rough) > surelyInRange;
        return (isNumberPassedOver() && !mayBeOutOfRange) || takeDouble(view(part), error);
    }
    bool on_bool(bool value, Error& error) {
        return isPassedOver() || takeWord(value ? "true" : "false", error);
    }
    bool on_null(Error& error) { return isPassedOver() || takeWord("null", error); }
    // NOLINTEND(readability-identifier-naming)

  private:
    /// What the value that comes next is to the caller: nothing, a member's value, an object on the way to
    /// one, the list that the document must be, or an element of it.
    enum class Wanted { nothing, text, wholeNumber, source, object, list, element };

    static std::string_view view(Text text) { return {text.data(), text.size()}; }

    bool isPassedOver() const { return wanted_ == Wanted::nothing; }
    bool isNumberPassedOver() const { return wanted_ == Wanted::nothing && number_.size() == 0; }

    // The values that are wanted.
    std::optional<std::string>& text() const { return **std::get_if<0>(&member_->value); }
    std::optional<std::int64_t>& wholeNumber() const { return **std::get_if<1>(&member_->value); }
    std::string& source() const { return (*std::get_if<2>(&member_->value))->value().text; }

    // Where in the document we are, and what is wanted there.
    bool takeKeyPart(std::string_view part, std::size_t size);
    void takeLastKeyPart(std::string_view part, std::size_t size);
    void expectValueOf(std::string_view key);
    void expectValueOf(const JsonReader::Member& member);
    std::size_t endOfStep(std::string_view path, std::string_view key) const;
    std::size_t longestKey() const;
    void enterObject();
    void leaveObject();

    // What is there.
    bool takeBeginning(char bracket, Wanted fitting, Error& error);
    bool takeEnd(char bracket);
    bool takeStringPart(std::string_view part);
    bool takeString(std::string_view part, Error& error);
    bool takeNumberPart(std::string_view part, Error& error);
    bool takeInteger(std::optional<std::int64_t> whole, std::string_view part, Error& error);
    bool takeDouble(std::string_view part, Error& error);
    bool takeWord(std::string_view word, Error& error);
    bool endValue(Error& error);

    void appendToSource(std::string_view text);
    void appendNumberToSource(std::string_view part);
    void appendStringToSource(std::string_view part);
    void appendKeyToSource(std::string_view part);

    std::span<const JsonReader::Member> members_;
    std::vector<std::string>* list_ = nullptr;

    Wanted wanted_;
    const JsonReader::Member* member_ = nullptr;  ///< whose value is wanted
    std::size_t depth_ = 0;                       ///< of open containers
    std::size_t pathDepth_ = 0;                   ///< of open objects that are wanted; the outermost ones
    std::string_view path_;                       ///< to the innermost of those
    std::string_view nextPath_;                   ///< to the object that is wanted next
    std::string parts_;           ///< of a key, or of a string of the source, that is still being read
    NearestDouble number_;        ///< that is still being read
    bool isElementOpen_ = false;  ///< the list's last element is still being read
};

}  // namespace brellin
