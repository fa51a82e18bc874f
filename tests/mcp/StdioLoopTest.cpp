#include "BrellinCore/platform/Pipe.h"
#include "BrellinCore/server/Paths.h"
#include "BrellinMCP/LineReader.h"
#include "BrellinMCP/StdioLoop.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <thread>

namespace brellin {

namespace {

namespace json = boost::json;

std::string readToEnd(const Descriptor& source) {
    std::string text;
    std::array<char, 65536> buffer{};
    while (const auto count = source.readSome(buffer.data(), buffer.size()).value_or(0)) {
        text.append(buffer.data(), count);
    }
    return text;
}

struct Streams {
    std::string output;
    std::string errors;
};

/// Drives the loop over pipes; the input arrives in pieces of the given size.
Streams converse(std::string_view input, std::size_t pieceSize = 65536, bool isHeard = true) {
    Pipe in = Pipe::open().value();
    Pipe out = Pipe::open().value();
    Pipe err = Pipe::open().value();
    if (!isHeard) {
        out.readEnd.close();
    }
    std::thread host([&] {
        for (std::size_t sent = 0; sent < input.size(); sent += pieceSize) {
            in.writeEnd.writeAll(input.substr(sent, pieceSize));
        }
        in.writeEnd.close();
    });
    std::thread loop([&] {
        const MCPServer server;
        MessageTransport transport(in.readEnd, out.writeEnd, err.writeEnd);
        StdioLoop(server, transport).run();
        out.writeEnd.close();
        err.writeEnd.close();
    });
    Streams streams{readToEnd(out.readEnd), readToEnd(err.readEnd)};
    host.join();
    loop.join();
    return streams;
}

const std::string ignored = "[havrick-mcp] line ignored (not JSON, or has no method)\n";

}  // namespace

TEST(StdioLoop, AnswersEachKindOfLineAsItShould) {
    const auto pong = [](const std::string& id) { return R"({"jsonrpc":"2.0","id":)" + id + R"(,"result":{}})"; };
    const std::string nested(100000, '[');
    const std::string unknownVerb =
        R"({"jsonrpc":"2.0","id":2,"result":{"content":[{"type":"text","text":"Unknown verb: "}],"isError":true}})";
    // A line and its reply; none when that is empty.
    const std::pair<std::string, std::string> cases[] = {
        {R"({"id":1,"method":"ping"})", pong("1")},
        {"\u3000\t {\"id\":null,\"method\":\"ping\",\"jsonrpc\":\"1.0\"}\u0085\r", pong("null")},
        {R"({"method":"ping","id":"a\u0062\n\"/"})", pong(R"("ab\n\"/")")},
        {R"({"method":"ping","id":-9223372036854775808})", pong("-9223372036854775808")},
        {R"({"method":"ping","id":18446744073709551615})", pong("18446744073709551615")},
        {R"({"method":"ping","id":[1, {"a" : true}]})", pong(R"([1,{"a":true}])")},
        {R"({"method":"ping","id":12345678901234567890123})", pong("12345678901234567890123")},
        {R"({"method":"ping","id":"fix \ud83d"})", pong("\"fix \uFFFD\"")},
        {"\uFEFF{\"id\":1,\"id\":2,\"method\":5,\"method\":\"ping\"}", pong("2")},
        {"{\"method\":\"ping\",\"id\":\"\xFF\"}", pong("\"\uFFFD\"")},
        {R"({"method":"ping"})", ""},
        {R"({"id":1,"method":"notifications/initialized"})", ""},
        {R"({"method":"no/such"})", ""},
        {R"({"id":1,"method":"Ping/\u0001"})",
         R"({"jsonrpc":"2.0","id":1,"error":{"code":-32601,"message":"Method not found: Ping/\u0001"}})"},
        {R"({"id":2,"method":"tools/call"})", unknownVerb},
        {R"({"id":2,"method":"tools/call","params":{"name":5,"arguments":[]}})", unknownVerb},
        {R"({"id":2,"method":"tools/call","params":{"name":"x"},"params":5})", unknownVerb},
        {R"({"method":"tools/call","params":{"name":"havrick_now"}})", ""},
        {"", ""},
        {" \t\u2003\v\f ", ""},
        {"42", ignored},
        {"plain words", ignored},
        {R"({"id":1})", ignored},
        {R"({"id":1,"method":"ping","method":5})", ignored},
        {R"([{"id":1,"method":"ping"}])", ignored},
        {std::string("{\"id\":1,\0\"method\":\"ping\"}", 25), ignored},
        {R"({"method":"ping","id":)" + nested, ignored},
        {"\xE2\x82", ignored}};
    std::string input;
    std::string output;
    std::string errors =
        "[havrick-mcp] started; version 1.0.2; store " + Paths::root(processEnvironment()).string() + "\n";
    for (const auto& [line, reply] : cases) {
        input += line + "\n";
        (reply == ignored ? errors : output) += reply.empty() || reply == ignored ? reply : reply + "\n";
    }
    errors += "[havrick-mcp] stdin closed; exiting\n";
    for (const std::size_t pieceSize : {std::size_t{65536}, std::size_t{1}}) {
        const Streams streams = converse(input, pieceSize);
        EXPECT_EQ(streams.output, output);
        EXPECT_EQ(streams.errors, errors);
    }
}

TEST(StdioLoop, ShakesHandsInTheClientsVersion) {
    const auto result = [](std::string_view params) {
        const Streams streams = converse(R"({"id":1,"method":"initialize")" + std::string(params) + "}");
        return json::parse(streams.output).at("result");
    };
    json::value expected = {{"protocolVersion", "2024-11-05"},
                            {"capabilities", {{"tools", json::object()}}},
                            {"serverInfo", {{"name", "havrick"}, {"version", "1.0.2"}}},
                            {"instructions", MCPServer().instructions()}};
    EXPECT_EQ(result(""), expected);
    EXPECT_EQ(result(R"(,"params":[])"), expected);
    EXPECT_EQ(result(R"(,"params":{"protocolVersion":5})"), expected);
    expected.at("protocolVersion") = "";
    EXPECT_EQ(result(R"(,"params":{"protocolVersion":""})"), expected);
    const Streams list = converse(R"({"id":1,"method":"tools/list","params":{"cursor":"x"}})");
    EXPECT_EQ(json::parse(list.output).at("result"), (json::value{{"tools", MCPServer().tools()}}));
}

TEST(StdioLoop, AnswersManyAndLongRequestsWrittenAheadInOrder) {
    const std::string filler(std::size_t{20} << 20U, 'x');
    std::string input;
    std::string output;
    for (int id = 0; id < 10000; ++id) {
        input += fmt::format("{{\"id\":{},\"method\":\"ping\"{}}}\r\n", id,
                             id == 5000 || id == 5001 ? ",\"params\":{\"filler\":\"" + filler + "\"}" : "");
        output += fmt::format("{{\"jsonrpc\":\"2.0\",\"id\":{},\"result\":{{}}}}\n", id);
    }
    input.resize(input.size() - 2);  // the last line has no end
    EXPECT_EQ(converse(input).output, output);
}

TEST(StdioLoop, GoesOnWithoutAReaderUntilTheInputEnds) {
    ::signal(SIGPIPE, SIG_IGN);
    const std::string ping = "{\"id\":1,\"method\":\"ping\"}\n";
    EXPECT_TRUE(converse(ping + ping + "noise\n", 65536, false)
                    .errors.ends_with(ignored + "[havrick-mcp] stdin closed; exiting\n"));
}

}  // namespace brellin
