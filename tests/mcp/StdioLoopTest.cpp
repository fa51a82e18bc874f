#include "BrellinCore/platform/Pipe.h"
#include "BrellinCore/platform/Sha256.h"
#include "BrellinCore/server/Paths.h"
#include "BrellinMCP/LineReader.h"
#include "BrellinMCP/StdioLoop.h"
#include "tests/world/TemporaryDirectory.h"

#include <boost/json/serialize.hpp>
#include <fcntl.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <thread>

namespace {

constexpr std::size_t million = 1'000'000;
/// What a test lets this whole program have at once.
std::atomic<std::size_t> largestAllocation = std::numeric_limits<std::size_t>::max();

}  // namespace

// Not inlined: an optimiser that sees one of the pair alone takes it for a mismatch.
// NOLINTBEGIN(cppcoreguidelines-owning-memory)
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return size > largestAllocation ? nullptr : std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* memory = operator new(size, std::nothrow);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
// A sanitizer has arrays of its own.
[[gnu::noinline]] void* operator new[](std::size_t size) {
    return operator new(size);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
// NOLINTEND(cppcoreguidelines-owning-memory)

namespace brellin {

namespace {

namespace json = boost::json;

/// What the loop writes as output and errors; its input arrives in pieces of the given size.
std::pair<std::string, std::string> converse(std::string_view input, std::size_t pieceSize = 65536,
                                             bool isHeard = true) {
    Pipe pipe = Pipe::open().value();
    std::thread host([&] {
        for (std::size_t sent = 0; sent < input.size(); sent += pieceSize) {
            pipe.writeEnd.writeAll(input.substr(sent, pieceSize));
        }
        pipe.writeEnd.close();
    });
    const world::TemporaryDirectory files;
    const Descriptor output(isHeard ? ::creat((files / "output").c_str(), 0600) : -1);
    const Descriptor errors(::creat((files / "errors").c_str(), 0600));
    const MCPServer server;
    MessageTransport transport(pipe.readEnd, output, errors);
    StdioLoop(server, transport).run();
    host.join();
    return {files.read("output"), files.read("errors")};
}

const std::string ignored = "[havrick-mcp] line ignored (not JSON, or has no method)\n";

}  // namespace

TEST(MCPServer, TellsAgentsWhatItToldThemBefore) {
    // Agents decide by these texts which tool to call. Whoever changes one on purpose puts the new digest here.
    const auto digest = sha256(std::string(MCPServer().instructions()) + json::serialize(MCPServer().tools()));
    EXPECT_EQ(fmt::format("{:02x}", fmt::join(digest, "")),
              "8274ca6a7ed546e39d646bdf79e8d1eeb373a8eb532846e6a284259e834d452b");
}

TEST(StdioLoop, AnswersEachKindOfLineAsItShould) {
    const auto reply = [](std::string_view id, std::string_view result) {
        return fmt::format(R"({{"jsonrpc":"2.0","id":{},"result":{}}})", id, result);
    };
    const auto pong = [&](std::string_view id) { return reply(id, "{}"); };
    const auto failed = [&](std::string_view text) {
        return reply("2", fmt::format(R"({{"content":[{{"type":"text","text":"{}"}}],"isError":true}})", text));
    };
    const auto call = [](std::string_view tool, std::string_view arguments) {
        return fmt::format(R"({{"id":2,"method":"tools/call","params":{{"name":"{}","arguments":{}}}}})", tool,
                           arguments);
    };
    const auto welcome = [&](std::string_view version) {
        return reply("3", fmt::format(R"({{"protocolVersion":"{}","capabilities":{{"tools":{{}}}},"serverInfo":)"
                                      R"({{"name":"havrick","version":"1.0.2"}},"instructions":{}}})",
                                      version, json::serialize(json::string(MCPServer().instructions()))));
    };
    const std::string needsId = " needs a non-empty `sessionId`.";
    const std::string noNames =
        " Targets are named by sessionId, never by name: names are derived at fork, and a label that has moved would "
        "deliver to somebody else.";
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
        {R"({"id":3,"method":"initialize","params":[]})", welcome("2024-11-05")},
        {R"({"id":3,"method":"initialize","params":{"protocolVersion":5}})", welcome("2024-11-05")},
        {R"({"id":3,"method":"initialize","params":{"protocolVersion":""}})", welcome("")},
        {R"({"id":4,"method":"tools/list","params":{"cursor":"x"}})",
         reply("4", "{\"tools\":" + json::serialize(MCPServer().tools()) + "}")},
        {R"({"id":2,"method":"tools/call"})", failed("Unknown verb: ")},
        {R"({"id":2,"method":"tools/call","params":{"name":5,"arguments":[]}})", failed("Unknown verb: ")},
        {R"({"id":2,"method":"tools/call","params":{"name":"x"},"params":5})", failed("Unknown verb: ")},
        {R"({"method":"tools/call","params":{"name":"havrick_now"}})", ""},
        {call("Havrick_now", "{}"), failed("Unknown verb: Havrick_now")},
        {call("havrick_who", "[]"), failed("havrick_who" + needsId)},
        {call("havrick_who", R"({"sessionId":""})"), failed("havrick_who" + needsId)},
        {call("havrick_who", R"({"sessionid":"a"})"), failed("havrick_who" + needsId)},
        {call("havrick_send", R"({"sessionId":42})"), failed("havrick_send" + needsId + noNames)},
        {call("havrick_resolve", R"({"name":"a"})"), failed("havrick_resolve needs a non-empty `query`.")},
        {"", ""},
        {" \t\u2003\v\f ", ""},
        {"42", ignored},
        {R"({"id":1})", ignored},
        {R"({"id":1,"method":"ping","method":5})", ignored},
        {R"([{"id":1,"method":"ping"}])", ignored},
        {std::string("{\"id\":1,\0\"method\":\"ping\"}", 25), ignored},
        {R"({"method":"ping","id":)" + std::string(100000, '['), ignored},
        {"\xE2\x82", ignored}};
    std::string input;
    std::string output;
    std::string errors =
        "[havrick-mcp] started; version 1.0.2; store " + Paths::root(processEnvironment()).string() + "\n";
    for (const auto& [line, answer] : cases) {
        input += line + "\n";
        (answer == ignored ? errors : output) += answer.empty() || answer == ignored ? answer : answer + "\n";
    }
    errors += "[havrick-mcp] stdin closed; exiting\n";
    input.pop_back();  // the host may die in the middle of a line
    for (const std::size_t pieceSize : {std::size_t{65536}, std::size_t{1}}) {
        EXPECT_EQ(converse(input, pieceSize), std::pair(output, errors));
    }
    EXPECT_EQ(converse(input, 65536, false).second, errors) << "nobody reads the replies";
}

TEST(LineReader, GivesUpTheLineThatMemoryDoesNotHold) {
    Pipe pipe = Pipe::open().value();
    std::thread host([&] {
        pipe.writeEnd.writeAll(std::string(5 * million, 'x') + "\n" + std::string(3 * million, 'y') + "\nnext\n");
        pipe.writeEnd.close();
    });
    LineReader lines(pipe.readEnd);
    EXPECT_EQ(lines.next().value().text.size(), 5 * million);
    const std::size_t unlimited = largestAllocation.exchange(2 * million);
    EXPECT_TRUE(lines.next().value().isTruncated) << "the buffer of the longer line before it is given back";
    largestAllocation = unlimited;
    const auto last = lines.next().value();
    EXPECT_TRUE(last.text == "next" && !last.isTruncated);
    EXPECT_FALSE(lines.next());
    host.join();
}

TEST(StdioLoop, GoesOnWhenMemoryIsShort) {
    const world::TemporaryDirectory home;
    ::setenv("HOME", home.path().c_str(), 1);
    for (int id = 0; id < 8; ++id) {  // each can be read; a report on all of them is too long
        home.write(fmt::format(".claude/sessions/{}.json", id),
                   R"({"sessionId":"s","pid":1,"startedAt":0,"cwd":")" + std::string(million / 2, 'x') + "\"}");
    }
    const std::string ping = "{\"id\":1,\"method\":\"ping\"}\n";
    const std::string input = std::string(3 * million, ' ') + ping +
                              R"({"id":2,"method":"tools/call","params":{"name":"havrick_now"}})" + "\n" + ping;
    const std::size_t unlimited = largestAllocation.exchange(2 * million);
    const auto [output, errors] = converse(input);
    largestAllocation = unlimited;
    EXPECT_NE(errors.find(ignored), std::string::npos) << "the end of a line is not the line";
    EXPECT_EQ(
        output,
        R"({"jsonrpc":"2.0","id":2,"result":{"content":[{"type":"text","text":"havrick_now failed: std::bad_alloc"}],)"
        "\"isError\":true}}\n{\"jsonrpc\":\"2.0\",\"id\":1,\"result\":{}}\n");
}

TEST(MessageTransport, WritesAReplyAndItsLineFeedApart) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends.data()), 0);  // a read takes what one write gave
    const Descriptor host(ends[0]);
    const Descriptor server(ends[1]);
    MessageTransport transport(server, server, server);
    transport.writeReply({"1"}, "result", "{}");
    transport.writeDiagnostic("noise");
    for (const std::string written : {R"({"jsonrpc":"2.0","id":1,"result":{}})", "\n", "[havrick-mcp] noise\n"}) {
        std::array<char, 100> buffer{};
        EXPECT_EQ(std::string(buffer.data(), host.readSome(buffer.data(), buffer.size()).value_or(0)), written);
    }
}

}  // namespace brellin
