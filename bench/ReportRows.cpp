#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/store/Store.h"
#include "bench/Conversation.h"
#include "bench/Rows.h"
#include "bench/SessionFiles.h"
#include "bench/Spawn.h"
#include "tests/world/TemporaryDirectory.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): kill is POSIX, not C++

#include <stdexcept>

namespace brellin::bench {

namespace {

constexpr std::string_view now =
    R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"havrick_now","arguments":{}}})"
    "\n";
constexpr std::string_view resolve =
    R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"havrick_resolve",)"
    R"("arguments":{"query":"no-such-name"}}})"
    "\n";

/// A home with some sessions of dead processes, each with four names in the history, and a server over it.
class DeadWorld {
  public:
    explicit DeadWorld(int count)
        : server_({HAVRICK_MCP_EXECUTABLE}, {{"HOME", home_.path()}, {"HAVRICK_ROOT", home_.path()}}) {
        SessionFiles::writeDead(home_.path(), count);
        writeHistory(count);
        expect(now, fmt::format("{} declared sessions", count));
        expect(resolve, "does not appear in known history");
    }

    /// How long the reply is, without its line feed.
    std::size_t replySize(std::string_view request) { return server_.ask(request).size() - 1; }

    Turn ask(std::string_view request) {
        return [this, request] { return timed([&] { server_.ask(request); }); };
    }
    std::string sessions() const { return home_ / ".claude/sessions"; }
    std::string database() const { return home_ / DataFiles::database; }

  private:
    void writeHistory(int count) {
        Store store(home_.path());
        store.rawExecForTesting("BEGIN");  // the row is about reading it
        for (int number = 0; number < count; ++number) {
            const std::string id = SessionFiles::sessionId(number);
            store.upsertSession({.sessionId = id, .accountPath = home_ / ".claude"}, 1);
            for (int name = 1; name <= 4; ++name) {
                store.closeName(id, name);
                store.openName(id, fmt::format("checkout-{:x}-{}", number, name), "6d1d1d", "derived",
                               name);
            }
        }
        store.rawExecForTesting("COMMIT");
    }

    /// A wrong answer would be a fast one.
    void expect(std::string_view request, std::string_view words) {
        if (server_.ask(request).find(words) == std::string_view::npos) {
            throw std::runtime_error(fmt::format("no \"{}\" in the reply", words));
        }
    }

    world::TemporaryDirectory home_;
    Conversation server_;
};

/// Processes for sessions to live in.
class Sleepers {
  public:
    explicit Sleepers(int count) {
        const Descriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
        for (int number = 0; number < count; ++number) {
            pids_.push_back(spawn({"/bin/sleep", "1000"}, {}, nothing.get(), nothing.get()));
        }
    }
    Sleepers(const Sleepers&) = delete;
    Sleepers& operator=(const Sleepers&) = delete;
    ~Sleepers() {
        for (const pid_t pid : pids_) {
            ::kill(pid, SIGKILL);
            waitForExit(pid);
        }
    }

    const std::vector<pid_t>& pids() const { return pids_; }

  private:
    std::vector<pid_t> pids_;
};

std::size_t occurrences(std::string_view text, std::string_view word) {
    std::size_t count = 0;
    for (std::size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
        ++count;
    }
    return count;
}

Turn floorTurn(Conversation& floor) {
    return [&floor] { return timed([&] { floor.ask("\n"); }); };
}

void addLiveRow(Table& table, const Patience& patience) {
    constexpr int count = 50;
    const Sleepers sleepers(count);
    const world::TemporaryDirectory home;
    SessionFiles::writeLive(home.path(), sleepers.pids());
    const Environment environment = {{"HOME", home.path()}, {"HAVRICK_ROOT", home / "data"}};

    std::vector<std::string> floorCommand = {FLOOR_REPORT_EXECUTABLE, "ps"};
    for (const pid_t pid : sleepers.pids()) {
        floorCommand.push_back(std::to_string(pid));
    }
    Conversation ours({HAVRICK_MCP_EXECUTABLE}, environment);
    Conversation floor(floorCommand, environment);
    if (occurrences(ours.ask(now), "liveness: alive") != count) {
        throw std::runtime_error("not every session is alive");
    }
    const Turn oursTurn = [&] { return timed([&] { ours.ask(now); }); };
    table.add("`havrick_now`, 50 live sessions", "50 bare runs of `ps` by posix_spawn",
              compare(patience, oursTurn, floorTurn(floor)), 1.05);
}

}  // namespace

void addReportRows(Table& table, const Patience& patience) {
    addLiveRow(table, patience);

    DeadWorld large(5000);
    const std::string size = std::to_string(large.replySize(now));
    Conversation files({FLOOR_REPORT_EXECUTABLE, "now", large.sessions(), size}, {});
    Conversation names({FLOOR_REPORT_EXECUTABLE, "resolve", large.sessions(), large.database()}, {});
    table.add("`havrick_now`, 5,000 dead sessions", "files read and parsed, kill, a reply as long in C",
              compare(patience, large.ask(now), floorTurn(files)), 1.5);
    table.add("`havrick_resolve`, no match, 5,000 sessions",
              "files read and parsed, the same SQL statements in C",
              compare(patience, large.ask(resolve), floorTurn(names)), 1.3);

    DeadWorld small(500);
    constexpr std::string_view tenTimesLess = "one request over 500 sessions, a tenth of the work";
    table.add("growth: `havrick_now`, 5,000 sessions", tenTimesLess,
              compare(patience, large.ask(now), small.ask(now)), 11);
    table.add("growth: `havrick_resolve`, 5,000 sessions", tenTimesLess,
              compare(patience, large.ask(resolve), small.ask(resolve)), 11);
}

}  // namespace brellin::bench
