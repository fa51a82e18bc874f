#include "bench/InProcessFloors.h"

#include "BrellinCore/store/Statements.h"
#include "bench/PassingParser.h"

#include <benchmark/benchmark.h>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <fcntl.h>
#include <sqlite3.h>
#include <time.h>  // NOLINT(modernize-deprecated-headers): strptime, timegm and gmtime_r are POSIX, not C++

#include <array>
#include <stdexcept>

namespace brellin::bench::InProcessFloors {

namespace json = boost::json;

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
    benchmark::DoNotOptimize(PassingParser::passOver(text));
}

void passOverFile(const std::string& path) {
    static std::array<char, 1U << 16U> piece;
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    json::basic_parser<PassingParser::Nobody> parser{PassingParser::options()};
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
