#pragma once

#include <boost/json/basic_parser_impl.hpp>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

namespace brellin::bench {

/// What reading JSON costs at least: Boost.JSON's parser, and nobody who listens to it.
namespace PassingParser {

namespace json = boost::json;

/// Takes no notice of anything.
struct Nobody {
    using Error = json::error_code;
    using Text = json::string_view;
    // NOLINTBEGIN(readability-identifier-naming): the parser looks for these names
    static constexpr std::size_t max_object_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_array_size = max_object_size;
    static constexpr std::size_t max_key_size = max_object_size;
    static constexpr std::size_t max_string_size = max_object_size;
    // NOLINTEND(readability-identifier-naming)

    static bool on_document_begin(Error& /*error*/) { return true; }
    static bool on_document_end(Error& /*error*/) { return true; }
    static bool on_object_begin(Error& /*error*/) { return true; }
    static bool on_object_end(std::size_t /*count*/, Error& /*error*/) { return true; }
    static bool on_array_begin(Error& /*error*/) { return true; }
    static bool on_array_end(std::size_t /*count*/, Error& /*error*/) { return true; }
    static bool on_key_part(Text /*part*/, std::size_t /*size*/, Error& /*error*/) { return true; }
    static bool on_key(Text /*part*/, std::size_t /*size*/, Error& /*error*/) { return true; }
    static bool on_string_part(Text /*part*/, std::size_t /*size*/, Error& /*error*/) { return true; }
    static bool on_string(Text /*part*/, std::size_t /*size*/, Error& /*error*/) { return true; }
    static bool on_number_part(Text /*part*/, Error& /*error*/) { return true; }
    static bool on_int64(std::int64_t /*number*/, Text /*part*/, Error& /*error*/) { return true; }
    static bool on_uint64(std::uint64_t /*number*/, Text /*part*/, Error& /*error*/) { return true; }
    static bool on_double(double /*number*/, Text /*part*/, Error& /*error*/) { return true; }
    static bool on_bool(bool /*value*/, Error& /*error*/) { return true; }
    static bool on_null(Error& /*error*/) { return true; }
    static bool on_comment_part(Text /*part*/, Error& /*error*/) { return true; }
    static bool on_comment(Text /*part*/, Error& /*error*/) { return true; }
};

inline json::parse_options options() {
    json::parse_options options;
    options.max_depth = 512;
    return options;
}

/// Reads a whole text; how much of it was JSON.
inline std::size_t passOver(std::string_view text) {
    json::basic_parser<Nobody> parser{options()};
    json::error_code error;
    return parser.write_some(false, text.data(), text.size(), error);
}

}  // namespace PassingParser

}  // namespace brellin::bench
