#include "bench/Conversation.h"
#include "bench/Rows.h"
#include "bench/SessionFiles.h"
#include "tests/world/TemporaryDirectory.h"

#include <optional>

namespace brellin::bench {

namespace {

const std::vector<std::string> server = {HAVRICK_MCP_EXECUTABLE};
const std::vector<std::string> floorServer = {FLOOR_SERVER_EXECUTABLE};
constexpr std::string_view fixedTexts = "a C program that answers fixed texts, as static";

constexpr std::string_view initialize =
    R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-06-18",)"
    R"("capabilities":{},"clientInfo":{"name":"bench","version":"1"}}})"
    "\n";

std::string ping(int id) {
    return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":"ping"})" + "\n";
}

std::string toolCall(std::string_view tool, std::string_view arguments) {
    return std::string(R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":")")
               .append(tool)
               .append(R"(","arguments":)")
               .append(arguments) +
           "}}\n";
}

Turn start(const std::vector<std::string>& command, const Environment& environment) {
    return [&command, &environment] {
        std::optional<Conversation> conversation;  // its end is not part of the start
        return timed([&] { conversation.emplace(command, environment).ask(initialize); });
    };
}

std::string pings(int count) {
    std::string lines;
    for (int id = 100; id < 100 + count; ++id) {
        lines += ping(id);
    }
    return lines;
}

void askOneAtATime(Conversation& conversation) {
    for (int id = 100; id < 300; ++id) {
        conversation.ask(ping(id));
    }
}

void askTenTimes(Conversation& conversation, std::string_view lines, std::size_t replySize) {
    for (int batch = 0; batch < 10; ++batch) {
        conversation.askUndisturbed(lines, replySize);
    }
}

// Every turn has a program of its own: how the scheduler places a pair of processes lasts as long as they
// do, and is worth more than the difference to be measured.

Turn onePingAtATime(const std::vector<std::string>& command, const Environment& environment) {
    return [&command, &environment] {
        constexpr int warmUp = 50;
        Conversation conversation(command, environment);
        conversation.ask(pings(warmUp), warmUp);
        return timed([&] { askOneAtATime(conversation); });
    };
}

Turn pipelinedPings(const std::vector<std::string>& command, const Environment& environment) {
    return [&command, &environment] {
        constexpr int count = 900;  // requests and replies each fit a pipe
        const std::string lines = pings(count);
        Conversation conversation(command, environment);
        const std::size_t replySize = conversation.ask(lines, count).size();
        return timed([&] { askTenTimes(conversation, lines, replySize); });
    };
}

/// Resident memory after ten thousand requests, the given ones in turn.
long memoryAfter(const std::vector<std::string>& requests, const Environment& environment) {
    Conversation conversation(server, environment);
    for (std::size_t count = 0; count < 10'000; ++count) {
        conversation.ask(requests[count % requests.size()]);
    }
    return conversation.residentKilobytes();
}

void addMemoryRows(Table& table, const Environment& environment) {
    const std::vector<std::string> everyKind = {
        std::string(initialize),
        std::string(R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})") + "\n",
        toolCall("havrick_now", "{}"),
        toolCall("havrick_who", R"({"sessionId":")" + SessionFiles::sessionId(3) + R"("})"),
        toolCall("havrick_resolve", R"({"query":"no-such-name"})"),
    };
    constexpr long aim = 4096;
    table.addSize("resident memory after 10,000 `ping`s", memoryAfter({ping(1)}, environment), aim);
    table.addSize("resident memory after 10,000 of every kind", memoryAfter(everyKind, environment), aim);
}

}  // namespace

void addProtocolRows(Table& table, const Patience& patience) {
    const world::TemporaryDirectory home;
    SessionFiles::writeDead(home.path(), 10);
    const Environment environment = {{"HOME", home.path()}, {"HAVRICK_ROOT", home / "data"}};

    table.add("start to the reply of `initialize`", fixedTexts,
              compare(patience, start(server, environment), start(floorServer, environment)), 1.15);
    table.add(
        "200 `ping`s, one at a time", fixedTexts,
        compare(patience, onePingAtATime(server, environment), onePingAtATime(floorServer, environment)),
        1.15);
    table.add(
        "9,000 `ping`s, pipelined", fixedTexts,
        compare(patience, pipelinedPings(server, environment), pipelinedPings(floorServer, environment)),
        1.75);
    addMemoryRows(table, environment);
}

}  // namespace brellin::bench
