#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/server/Paths.h"
#include "BrellinMCP/LineReader.h"
#include "BrellinMCP/StdioLoop.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <thread>

namespace brellin {

namespace {

namespace json = boost::json;

struct Pipe {
    Descriptor readEnd;
    Descriptor writeEnd;
};

Pipe openPipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::string readToEnd(const Descriptor& source) {
    std::string text;
    std::array<char, 65536> buffer{};
    while (const auto count = source.readSome(buffer.data(), buffer.size())) {
        if (*count == 0) {
            break;
        }
        text.append(buffer.data(), *count);
    }
    return text;
}

struct Streams {
    std::string output;
    std::string errors;
};

/// Drives the loop over pipes; the input arrives in pieces of the given size.
Streams converse(std::string_view input, std::size_t pieceSize = 65536) {
    Pipe in = openPipe();
    Pipe out = openPipe();
    Pipe err = openPipe();
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
    Streams streams;
    std::thread errors([&] { streams.errors = readToEnd(err.readEnd); });
    streams.output = readToEnd(out.readEnd);
    host.join();
    loop.join();
    errors.join();
    return streams;
}

const std::string ignored = "[havrick-mcp] line ignored (not JSON, or has no method)\n";

}  // namespace

TEST(StdioLoop, AnswersEachKindOfLineAsItShould) {
    const auto pong = [](const std::string& id) { return R"({"jsonrpc":"2.0","id":)" + id + R"(,"result":{}})"; };
    const std::string nested(100000, '[');
    struct Case {
        std::string line;
        std::string reply;  ///< empty: none
        bool isIgnored = false;
    };
    const std::vector<Case> cases = {
        {R"({"id":1,"method":"ping"})", pong("1")},
        {"\u3000\t {\"id\":null,\"method\":\"ping\",\"jsonrpc\":\"1.0\"}\u0085\r", pong("null")},
        {R"({"method":"ping","id":"a\u0062\n\"/"})", pong(R"("ab\n\"/")")},
        {R"({"method":"ping","id":-9223372036854775808})", pong("-9223372036854775808")},
        {R"({"method":"ping","id":18446744073709551615})", pong("18446744073709551615")},
        {R"({"method":"ping","id":[1,{"a":true}]})", pong(R"([1,{"a":true}])")},
        {"{\"method\":\"ping\",\"id\":\"\xFF\"}", pong("\"\uFFFD\"")},
        {R"({"method":"ping"})", ""},
        {R"({"id":1,"method":"notifications/initialized"})", ""},
        {R"({"method":"no/such"})", ""},
        {R"({"id":1,"method":"Ping/\u0001"})",
         R"({"jsonrpc":"2.0","id":1,"error":{"code":-32601,"message":"Method not found: Ping/\u0001"}})"},
        {R"({"id":2,"method":"tools/call"})",
         R"({"jsonrpc":"2.0","id":2,"result":{"content":[{"type":"text","text":"Unknown verb: "}],"isError":true}})"},
        {R"({"id":2,"method":"tools/call","params":{"name":5,"arguments":[]}})",
         R"({"jsonrpc":"2.0","id":2,"result":{"content":[{"type":"text","text":"Unknown verb: "}],"isError":true}})"},
        {R"({"method":"tools/call","params":{"name":"havrick_now"}})", ""},
        {"", ""},
        {" \t\u2003\v\f ", ""},
        {"[1,2]", "", true},
        {"42", "", true},
        {"plain words", "", true},
        {R"({"id":1})", "", true},
        {R"({"id":1,"method":5})", "", true},
        {R"({"id":1e400,"method":"ping"})", "", true},
        {R"({"id":1,"method":"ping")", "", true},
        {R"([{"id":1,"method":"ping"}])", "", true},
        {std::string("{\"id\":1,\0\"method\":\"ping\"}", 25), "", true},
        {R"({"method":"ping","id":)" + nested, "", true},
        {"\xE2\x82", "", true},
    };
    std::string input;
    std::string output;
    std::string errors =
        "[havrick-mcp] started; version 1.0.2; store " + Paths::root(processEnvironment()).string() + "\n";
    for (const Case& each : cases) {
        input += each.line + "\n";
        output += each.reply.empty() ? "" : each.reply + "\n";
        errors += each.isIgnored ? ignored : "";
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

TEST(StdioLoop, AnswersTenThousandRequestsWrittenAheadInOrder) {
    std::string input;
    std::string output;
    for (int id = 0; id < 10000; ++id) {
        input += R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":"ping"})" + "\r\n";
        output += R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"result":{}})" + "\n";
    }
    EXPECT_EQ(converse(input).output, output);
}

TEST(StdioLoop, ReadsALineOfAnyLength) {
    const std::string filler(std::size_t{20} << 20U, 'x');
    const std::string line = R"({"id":1,"method":"ping","params":{"filler":")" + filler + "\"}}\n";
    const std::string pong = R"({"jsonrpc":"2.0","id":1,"result":{}})"
                             "\n";
    EXPECT_EQ(converse(line + line + R"({"id":1,"method":"ping"})").output, pong + pong + pong);
}

TEST(StdioLoop, GoesOnWithoutAReaderUntilTheInputEnds) {
    ::signal(SIGPIPE, SIG_IGN);
    Pipe in = openPipe();
    Pipe out = openPipe();
    Pipe err = openPipe();
    out.readEnd.close();
    in.writeEnd.writeAll("{\"id\":1,\"method\":\"ping\"}\n{\"id\":2,\"method\":\"ping\"}\nnoise\n");
    in.writeEnd.close();
    const MCPServer server;
    MessageTransport transport(in.readEnd, out.writeEnd, err.writeEnd);
    StdioLoop(server, transport).run();
    err.writeEnd.close();
    EXPECT_TRUE(readToEnd(err.readEnd).ends_with(ignored + "[havrick-mcp] stdin closed; exiting\n"));
}

}  // namespace brellin
