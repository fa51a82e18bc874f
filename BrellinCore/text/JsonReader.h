#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace brellin {

/// Reads the members that its caller names out of a JSON document, and passes over everything else. No
/// document is built: memory is taken for what is kept and for nothing besides, so a document may be of any
/// size, hold any number of values, and arrive in pieces.
///
/// A text is refused as a whole when it is not JSON or not UTF-8, nested too deeply, holds a number beyond
/// the range of a double, or when its top level is not what was asked for. Half of a surrogate pair that is
/// written as an escape counts as U+FFFD, and a byte order mark before the document is passed over. Of
/// duplicate members the last counts wholly, whatever it holds.
class JsonReader {
  public:
    /// Containers nested deeper than this make a text "not JSON".
    static constexpr std::size_t maxDepth = 512;

    /// Any value as JSON text: compact, on one line, every number with the digits that it had.
    struct Source {
        std::string text;

        friend bool operator==(const Source&, const Source&) = default;
    };

    /// A member, and where its value goes. There it is absent when the document has no such member, or one
    /// of another type. No member stands twice in a list.
    struct Member {
        std::string_view key;  ///< not empty

        /// What the value must be: a string, a whole number (a number whose value is integral and fits 64
        /// bits signed: 42 and 42.0, not 42.5, not true), or anything.
        std::variant<std::optional<std::string>*, std::optional<std::int64_t>*, std::optional<Source>*>
            value;

        /// The object that has the member: the keys that lead to it, joined by "."; empty for the top
        /// level. A key with a "." in it leads nowhere.
        std::string_view object = {};

        /// Makes the value absent.
        void clear() const {
            std::visit([](auto* wanted) { wanted->reset(); }, value);
        }
    };

    /// Reads a document whose top level is an object.
    ///
    /// @return false when the text is refused; every member is absent then
    static bool read(std::string_view text, std::span<const Member> members);

    /// Reads a document that is an array of strings and of nothing else; nullopt when the text is refused.
    static std::optional<std::vector<std::string>> readStrings(std::string_view text);

    /// The members of an object, in its order, for an object whose keys are not known beforehand; none when
    /// the value is no object. Duplicates stay.
    static std::vector<std::pair<std::string, Source>> membersOf(const Source& value);

    /// For a document that arrives in pieces. The list and what its members point to must outlive this
    /// object.
    explicit JsonReader(std::span<const Member> members);
    JsonReader(const JsonReader&) = delete;
    JsonReader& operator=(const JsonReader&) = delete;
    ~JsonReader();

    /// Takes the next piece; pieces may be cut anywhere, also within a character.
    ///
    /// @return false when the text is refused, whatever may follow
    bool feed(std::string_view piece);

    /// Ends the document; only then the members hold what it says.
    ///
    /// @return false when the text is refused; every member is absent then
    bool finish();

  private:
    class Parser;

    std::unique_ptr<Parser> parser_;
};

}  // namespace brellin
