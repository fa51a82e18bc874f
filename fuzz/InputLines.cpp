#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/store/Reconciler.h"
#include "BrellinCore/text/Utf8.h"
#include "BrellinMCP/StdioLoop.h"
#include "fuzz/JsonDocument.h"
#include "fuzz/Target.h"
#include "tests/world/TemporaryDirectory.h"

#include <boost/json/value.hpp>
#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace brellin {

namespace {

namespace json = boost::json;
using fuzz::require;
namespace JsonDocument = fuzz::JsonDocument;
using world::TemporaryDirectory;

/// No system gives out such a process id, so these sessions are dead and no `ps` is run for them.
constexpr int deadPid = 2147483647;

/// A home with two accounts, three dead sessions, and a history in which one of them was renamed.
class Home {
  public:
    Home() {
        directory_.write(".claude.json", R"({"oauthAccount":{"emailAddress":"ana@example.com"}})");
        directory_.write(".zshrc", "alias claude-work=\"CLAUDE_CONFIG_DIR=~/.claude-work claude\"\n");
        // A file name is any bytes; what shows it must still be UTF-8.
        directory_.makeDirectory(".claude-\xFFodd");
        declare(".claude", "6f1d2c3b", R"("name":"old","messagingSocketPath":"/tmp/cc-socks/1.sock")");
        declare(".claude", "77e0aa10", R"("status":"idle","procStart":"Mon Nov  3 09:05:07 2026")");
        declare(".claude-work", "a0b1c2d3", R"("name":"\"\\\u0001 é","cwd":"/srv/x")");
        record(1);
        declare(".claude", "6f1d2c3b", R"("name":"new","messagingSocketPath":"/tmp/cc-socks/2.sock")");
        record(2);
        ::setenv("HOME", directory_.path().c_str(), 1);
        ::setenv("HAVRICK_ROOT", root().c_str(), 1);
        ::unsetenv("CLAUDE_CONFIG_DIR");
    }
    std::string root() const { return directory_ / "data"; }

  private:
    void declare(const std::string& account, const std::string& id, const std::string& members) const {
        directory_.write(account + "/sessions/" + id + ".json",
                         R"({"sessionId":")" + id + R"(","pid":)" + std::to_string(deadPid) +
                             R"(,"startedAt":1772373909123,)" + members + "}");
    }
    void record(std::int64_t now) const {
        std::vector<SessionRecord> sessions;
        for (const std::string_view account : {".claude", ".claude-work"}) {
            for (SessionRecord& session : SessionRegistry::records(directory_ / account)) {
                sessions.push_back(std::move(session));
            }
        }
        Store store(root());
        Reconciler(store).reconcile(sessions, {}, now);
    }

    const TemporaryDirectory directory_;
};

struct Streams {
    std::string output;
    std::string errors;
};

/// A stream that holds the whole input and gives it out in pieces, so that lines are cut anywhere. A socket
/// of packets keeps the pieces apart, and unlike a pipe it needs nobody who writes while the loop reads.
Descriptor inPieces(std::string_view input) {
    constexpr std::size_t mostPieces = 128;  // what fits into the socket's buffer, each with its overhead
    constexpr std::size_t variety = 61;
    const std::size_t pieceSize = 1 + input.size() / mostPieces + input.size() % variety;
    std::array<int, 2> ends{};
    require(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) == 0, "a socket opens");
    Descriptor reader(ends[0]);
    const Descriptor writer(ends[1]);
    for (; !input.empty(); input.remove_prefix(std::min(pieceSize, input.size()))) {
        require(writer.writeAll(input.substr(0, pieceSize)), "the input fits into the socket");
    }
    return reader;
}

Streams converse(std::string_view input) {
    static const TemporaryDirectory directory;
    const std::string outputPath = directory.write("output", "");
    const std::string errorsPath = directory.write("errors", "");
    {
        const Descriptor in = inPieces(input);
        const Descriptor out(::open(outputPath.c_str(), O_WRONLY | O_CLOEXEC));
        const Descriptor err(::open(errorsPath.c_str(), O_WRONLY | O_CLOEXEC));
        const MCPServer server;
        MessageTransport transport(in, out, err);
        StdioLoop(server, transport).run();
    }
    return {world::contentOf(outputPath), world::contentOf(errorsPath)};
}

/// Every line, with what stands behind the last line feed unless that is empty.
std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t feed = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, feed));
        text.remove_prefix(std::min(feed + 1, text.size()));
    }
    return lines;
}

/// What a tool answers to arguments that were read as a whole document.
json::object toolResult(const std::optional<json::value>& message) {
    const json::value* arguments = JsonDocument::at(message, "/params/arguments");
    const auto result = MCPServer().callTool(
        JsonDocument::text(JsonDocument::at(message, "/params/name")).value_or(""),
        arguments != nullptr && arguments->is_object() ? arguments->get_object() : json::object());
    return {{"content", json::array{{{"type", "text"}, {"text", result.text}}}},
            {"isError", result.isError}};
}

json::object initializeResult(const std::optional<json::value>& message) {
    const auto version = JsonDocument::text(JsonDocument::at(message, "/params/protocolVersion"));
    return {{"protocolVersion", version.value_or("2024-11-05")},
            {"capabilities", {{"tools", json::object()}}},
            {"serverInfo", {{"name", "havrick"}, {"version", BrellinVersion::current}}},
            {"instructions", MCPServer().instructions()}};
}

/// The member of the reply that holds its content.
json::object replyContent(const std::optional<json::value>& message, const std::string& method) {
    if (method == "initialize") {
        return {{"result", initializeResult(message)}};
    }
    if (method == "tools/list") {
        return {{"result", {{"tools", MCPServer().tools()}}}};
    }
    if (method == "tools/call") {
        return {{"result", toolResult(message)}};
    }
    if (method == "ping") {
        return {{"result", json::object()}};
    }
    return {{"error", {{"code", -32601}, {"message", "Method not found: " + method}}}};
}

struct Expected {
    std::vector<json::object> replies;
    std::string diagnostics;
};

void expectFrom(std::string_view line, Expected& expected) {
    const std::string repaired = Utf8::repaired(line);
    const std::string_view text = Utf8::trimmed(repaired);
    if (text.empty()) {
        return;
    }
    const auto message = JsonDocument::parse(text);
    const auto method = JsonDocument::text(JsonDocument::at(message, "/method"));
    if (!method) {
        expected.diagnostics += "[havrick-mcp] line ignored (not JSON, or has no method)\n";
        return;
    }
    const json::value* id = JsonDocument::at(message, "/id");
    if (id == nullptr || method->starts_with("notifications/")) {
        return;
    }
    json::object reply = replyContent(message, *method);
    reply["jsonrpc"] = "2.0";
    reply["id"] = *id;
    expected.replies.push_back(std::move(reply));
}

}  // namespace

void fuzz::feed(std::string_view input) {
    constexpr std::size_t longestInput = std::size_t{32} << 10U;  // a longer one would fill the socket
    if (input.size() > longestInput) {
        return;
    }
    static const Home home;
    Expected expected;
    expected.diagnostics = "[havrick-mcp] started; version " + std::string(BrellinVersion::current) +
                           "; store " + home.root() + "\n";
    for (const std::string_view line : linesOf(input)) {
        expectFrom(line, expected);
    }
    expected.diagnostics += "[havrick-mcp] stdin closed; exiting\n";

    const Streams streams = converse(input);
    require(streams.errors == expected.diagnostics, "each ignored line is mentioned, and nothing else");
    require(streams.output.empty() || streams.output.ends_with('\n'), "a reply is a whole line");
    const auto replies = linesOf(streams.output);
    require(replies.size() == expected.replies.size(), "each request is answered once");
    for (std::size_t index = 0; index < replies.size(); ++index) {
        require(JsonDocument::parse(replies[index]) == expected.replies[index],
                "replies come in order, each what the request's document asks for");
    }
}

}  // namespace brellin
