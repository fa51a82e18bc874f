#include "BrellinCore/server/MCPServer.h"
#include "BrellinCore/sessions/SessionRegistry.h"
#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/store/Store.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinMCP/StdioLoop.h"
#include "bench/InProcessFloors.h"
#include "bench/Rows.h"
#include "bench/SessionFiles.h"
#include "tests/world/TemporaryDirectory.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <map>

namespace brellin::bench {

namespace {

using Work = std::function<void()>;

struct InProcessRow {
    std::string what;
    std::string floorIs;
    double aim;
    Work ours;
    Work floor;
};

/// Keeps the times of every repetition, by the benchmark's name.
class Collector : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
                seconds_[run.run_name.function_name].push_back(seconds);
            }
        }
    }
    double medianSeconds(const std::string& name) const { return median(seconds_.at(name)); }

  private:
    std::map<std::string, std::vector<double>> seconds_;
};

void registerWork(const std::string& name, const Work& work, const Patience& patience) {
    constexpr int repetitions = 15;
    benchmark::RegisterBenchmark(name.c_str(),
                                 [work](benchmark::State& state) {
                                     for ([[maybe_unused]] auto turn : state) {
                                         work();
                                     }
                                 })
        ->Repetitions(repetitions)
        ->MinTime(patience.perRow.count() / (4 * repetitions));
}

/// Runs all rows at once: Google Benchmark then mixes the repetitions of all of them.
void measure(Table& table, const std::vector<InProcessRow>& rows, const Patience& patience) {
    std::string program = "havrick-bench";
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    std::array<char*, 3> words = {program.data(), interleave.data(), nullptr};
    int count = 2;
    benchmark::Initialize(&count, words.data());
    for (const InProcessRow& row : rows) {
        registerWork(row.what + "|ours", row.ours, patience);
        registerWork(row.what + "|floor", row.floor, patience);
    }
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    for (const InProcessRow& row : rows) {
        const double ours = collector.medianSeconds(row.what + "|ours");
        const double floor = collector.medianSeconds(row.what + "|floor");
        table.add(row.what, row.floorIs, {Seconds(ours), Seconds(floor), ours / floor}, row.aim);
    }
}

/// A file in memory with a hundred requests.
Descriptor requestFile() {
    Descriptor file(::memfd_create("requests", MFD_CLOEXEC));
    for (int id = 100; id < 200; ++id) {
        file.writeAll(R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":"ping"})" + "\n");
    }
    return file;
}

InProcessRow pingRow(const Descriptor& requests, const Descriptor& nowhere) {
    return {"in process: 100 `ping`s, read and answered", "Boost.JSON alone: parse, serialize", 2.5,
            [&] {
                static const MCPServer server;
                ::lseek(requests.get(), 0, SEEK_SET);
                MessageTransport transport(requests, nowhere, nowhere);
                StdioLoop(server, transport).run();
            },
            [&] {
                ::lseek(requests.get(), 0, SEEK_SET);
                InProcessFloors::answerPings(requests, nowhere);
            }};
}

InProcessRow sessionRow(const std::string& document) {
    return {
        "in process: a session file to a record", "Boost.JSON's events to nobody", 1.2,
        [&] { benchmark::DoNotOptimize(SessionRegistry::recordInDocument(document, "/home/ana/.claude")); },
        [&] { InProcessFloors::passOver(document); }};
}

InProcessRow startTextRow() {
    static constexpr std::string_view text = "Sat Jan 3 10:00:00 2026";
    return {"in process: a process start to seconds", "strptime, timegm", 1.0,
            [] { benchmark::DoNotOptimize(DateText::parseProcessStart(text, DateText::Zone::utc)); },
            [] { InProcessFloors::parseDate(text.data()); }};
}

InProcessRow timestampRow() {
    constexpr std::int64_t time = 1'767'434'400'000;
    return {"in process: a time to its text", "gmtime_r, strftime", 1.5,
            [] { benchmark::DoNotOptimize(DateText::timestampUTC(time)); },
            [] { InProcessFloors::formatDate(time / 1000); }};
}

InProcessRow nameHistoryRow(const Store& store, sqlite3* connection, const std::string& id) {
    return {"in process: Store::nameHistory, four names", "the same statement in C", 1.3,
            [&] { benchmark::DoNotOptimize(store.nameHistory(id)); },
            [&, connection] { InProcessFloors::readNames(connection, id); }};
}

}  // namespace

void addInProcessRows(Table& table, const Patience& patience) {
    const Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    const Descriptor requests = requestFile();
    const std::string document = SessionFiles::text(1, 4711, "Sat Jan 3 10:00:00 2026");

    const world::TemporaryDirectory root;
    const std::string id = SessionFiles::sessionId(1);
    Store store(root.path());
    store.upsertSession({.sessionId = id, .accountPath = "/home/ana/.claude"}, 1);
    for (int name = 1; name <= 4; ++name) {
        store.closeName(id, name);
        store.openName(id, "checkout-" + std::to_string(name), "6d1d1d", "derived", name);
    }
    const InProcessFloors::Connection connection(root / DataFiles::database);

    measure(table,
            {pingRow(requests, nowhere), sessionRow(document), startTextRow(), timestampRow(),
             nameHistoryRow(store, connection.get(), id)},
            patience);
}

}  // namespace brellin::bench
