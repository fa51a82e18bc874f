#include "bench/InProcessFloors.h"

#include "BrellinCore/store/Statements.h"

#include <benchmark/benchmark.h>
#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <fcntl.h>
#include <sqlite3.h>
#include <time.h>  // NOLINT(modernize-deprecated-headers): strptime, timegm and gmtime_r are POSIX, not C++

#include <array>
#include <limits>
#include <stdexcept>

namespace brellin::bench::InProcessFloors {

namespace json = boost::json;

namespace {

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

using PassingParser = json::basic_parser<Nobody>;

json::parse_options parseOptions() {
    json::parse_options options;
    options.max_depth = 512;
    return options;
}

}  // namespace

void answerPings(const Descriptor& input, const Descriptor& output) {
    static std::array<char, 1U << 16U> buffer;
    const std::size_t size = input.readSome(buffer.data(), buffer.size()).value_or(0);
    std::string_view rest(buffer.data(), size);
    for (std::size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
        const json::value request = json::parse(rest.substr(0, end));
        const json::object reply = {
            {"jsonrpc", "2.0"}, {"id", request.at("id")}, {"result", json::object()}};
        output.writeAll(json::serialize(reply));
        output.writeAll("\n");
        rest.remove_prefix(end + 1);
    }
}

void passOver(std::string_view text) {
    PassingParser parser{parseOptions()};
    json::error_code error;
    benchmark::DoNotOptimize(parser.write_some(false, text.data(), text.size(), error));
}

void passOverFile(const std::string& path) {
    static std::array<char, 1U << 16U> piece;
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    PassingParser parser{parseOptions()};
    json::error_code error;
    while (const auto size = file.readSome(piece.data(), piece.size()).value_or(0)) {
        parser.write_some(true, piece.data(), size, error);
    }
    parser.write_some(false, piece.data(), 0, error);
    if (!parser.done()) {
        throw std::runtime_error("the file is not JSON");
    }
}

void parseDate(const char* text) {
    tm fields{};
    ::strptime(text, "%a %b %d %H:%M:%S %Y", &fields);
    benchmark::DoNotOptimize(::timegm(&fields));
}

void formatDate(std::int64_t secondsSinceEpoch) {
    const auto seconds = static_cast<time_t>(secondsSinceEpoch);
    tm fields{};
    std::array<char, 64> text;
    ::gmtime_r(&seconds, &fields);
    ::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S +0000", &fields);
    benchmark::DoNotOptimize(text);
}

Connection::Connection(const std::string& path) {
    ::sqlite3_open(path.c_str(), &database_);
}

Connection::~Connection() {
    ::sqlite3_close(database_);
}

void readNames(sqlite3* database, const std::string& sessionId) {
    sqlite3_stmt* statement = nullptr;
    ::sqlite3_prepare_v2(database, Statements::nameHistory, -1, &statement, nullptr);
    ::sqlite3_bind_text(statement, 1, sessionId.c_str(), -1, SQLITE_STATIC);
    while (::sqlite3_step(statement) == SQLITE_ROW) {
        benchmark::DoNotOptimize(::sqlite3_column_text(statement, 0));
        benchmark::DoNotOptimize(::sqlite3_column_text(statement, 1));
        benchmark::DoNotOptimize(::sqlite3_column_int64(statement, 2));
        benchmark::DoNotOptimize(::sqlite3_column_int64(statement, 3));
    }
    ::sqlite3_finalize(statement);
}

}  // namespace brellin::bench::InProcessFloors
