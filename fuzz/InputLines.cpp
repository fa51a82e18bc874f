#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/store/Reconciler.h"
#include "BrellinCore/text/Json.h"
#include "BrellinCore/text/Utf8.h"
#include "BrellinMCP/StdioLoop.h"
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

struct Expected {
    std::vector<json::value> answeredIds;
    std::string diagnostics;
};

void expectFrom(std::string_view line, Expected& expected) {
    const std::string repaired = Utf8::repaired(line);
    const std::string_view text = Utf8::trimmed(repaired);
    if (text.empty()) {
        return;
    }
    const auto message = Json::parseObject(text);
    const auto* method = message ? Json::stringMember(*message, "method") : nullptr;
    if (method == nullptr) {
        expected.diagnostics += "[havrick-mcp] line ignored (not JSON, or has no method)\n";
        return;
    }
    const auto* id = message->if_contains("id");
    if (id != nullptr && !std::string_view(*method).starts_with("notifications/")) {
        expected.answeredIds.push_back(*id);
    }
}

void requireReply(std::string_view line, const json::value& id) {
    require(Utf8::isValid(line), "a reply is UTF-8");
    const auto reply = Json::parseObject(line);
    require(reply.has_value(), "a reply is one JSON object");
    const auto* version = Json::stringMember(*reply, "jsonrpc");
    require(version != nullptr && *version == "2.0", "a reply names JSON-RPC 2.0");
    require(reply->contains("id") && reply->at("id") == id, "replies carry the requests' ids, in order");
    require(reply->contains("result") != reply->contains("error"), "a reply is a result or an error");
    require(reply->size() == 3, "a reply holds nothing else");
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
    require(replies.size() == expected.answeredIds.size(), "each request is answered once");
    for (std::size_t index = 0; index < replies.size(); ++index) {
        requireReply(replies[index], expected.answeredIds[index]);
    }
}

}  // namespace brellin
