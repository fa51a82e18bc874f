#include "bench/Conversation.h"
#include "bench/InProcessFloors.h"
#include "bench/JsonFiles.h"
#include "bench/Rows.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>

#include <stdexcept>

namespace brellin::bench {

namespace {

/// A home, and a server over it.
class World {
  public:
    World()
        : server_({HAVRICK_MCP_EXECUTABLE}, {{"HOME", home_.path()}, {"HAVRICK_ROOT", home_ / "data"}}) {
        home_.makeDirectory(".claude/sessions");
    }

    /// Asks a tool without arguments; a turn is that many times.
    Turn ask(const std::string& tool, std::string_view words, int times) {
        const std::string request = fmt::format(
            R"({{"jsonrpc":"2.0","id":1,"method":"tools/call","params":{{"name":"{}","arguments":{{}}}}}})"
            "\n",
            tool);
        // A wrong answer would be a fast one.
        if (server_.ask(request).find(words) == std::string_view::npos) {
            throw std::runtime_error(fmt::format("no \"{}\" in the reply", words));
        }
        return [this, request, times] { return timed([&] { repeat(request, times); }); };
    }

    const world::TemporaryDirectory& home() const { return home_; }
    const Conversation& server() const { return server_; }

  private:
    void repeat(const std::string& request, int times) {
        for (int count = 0; count < times; ++count) {
            server_.ask(request);
        }
    }

    world::TemporaryDirectory home_;
    Conversation server_;
};

void addIdentityRows(Table& table, const Patience& patience) {
    World large;
    World none;
    const std::string file = large.home() / ".claude.json";
    JsonFiles::writeIdentity(file, patience.largestFile);
    const std::string size = fmt::format("{} MB of identity", patience.largestFile >> 20U);

    constexpr int manyTimes = 100;
    constexpr std::string_view noSession = "No declared session";
    table.add("`havrick_now`, no session, " + size, "the same without the file",
              compare(patience, large.ask("havrick_now", noSession, manyTimes),
                      none.ask("havrick_now", noSession, manyTimes)),
              1.02);
    table.add("`havrick_accounts`, " + size, "reading the file, Boost.JSON's events to nobody",
              compare(patience, large.ask("havrick_accounts", "identity: ana@example.com", 1),
                      [&] { return timed([&] { InProcessFloors::passOverFile(file); }); }),
              1.3);
    constexpr long aim = 8192;
    table.addSize("resident memory after " + size, large.server().residentKilobytes(), aim);
}

void addCollisionRow(Table& table, const Patience& patience) {
    World colliding;
    World harmless;
    colliding.home().write(".claude/sessions/s.json", JsonFiles::collidingSession());
    harmless.home().write(".claude/sessions/s.json", JsonFiles::harmlessSession());
    constexpr std::string_view oneSession = "1 declared sessions";
    table.add("`havrick_now`, 65,536 members that collide", "as many that do not",
              compare(patience, colliding.ask("havrick_now", oneSession, 1),
                      harmless.ask("havrick_now", oneSession, 1)),
              1.2);
}

}  // namespace

void addJsonRows(Table& table, const Patience& patience) {
    addIdentityRows(table, patience);
    addCollisionRow(table, patience);
}

}  // namespace brellin::bench
