#include "BrellinCore/store/DataFiles.h"
#include "bench/Rows.h"
#include "bench/SessionFiles.h"
#include "bench/Spawn.h"
#include "tests/world/TemporaryDirectory.h"

#include <filesystem>

namespace brellin::bench {

namespace {

/// Writes one home's sessions into the history, ours by the companion and the floor's by its C program.
/// Each has a data directory of its own.
class Recorders {
  public:
    explicit Recorders(int count) { SessionFiles::writeDead(home_.path(), count); }

    Seconds recordOurs() {
        return timed([&] {
            run({HAVRICK_EXECUTABLE, "record"}, {{"HOME", home_.path()}, {"HAVRICK_ROOT", home_ / "ours"}});
        });
    }
    Seconds recordFloor() {
        std::filesystem::create_directory(home_ / "floor");
        return timed([&] {
            run({FLOOR_RECORD_EXECUTABLE, home_ / ".claude/sessions",
                 (home_ / "floor/") + DataFiles::database, home_ / ".claude"},
                {});
        });
    }
    void forget(const char* directory) { std::filesystem::remove_all(home_ / directory); }

  private:
    world::TemporaryDirectory home_;
};

}  // namespace

void addRecordRows(Table& table, const Patience& patience) {
    constexpr std::string_view sameStatements = "the same statements in C, each its own transaction";
    Recorders recorders(1000);
    const Turn oursNew = [&] {
        recorders.forget("ours");
        return recorders.recordOurs();
    };
    const Turn floorNew = [&] {
        recorders.forget("floor");
        return recorders.recordFloor();
    };
    const Turn oursKnown = [&] { return recorders.recordOurs(); };
    const Turn floorKnown = [&] { return recorders.recordFloor(); };
    table.add("`havrick record`, 1,000 sessions, all new", sameStatements,
              compare(patience, oursNew, floorNew), 1.2);
    table.add("`havrick record`, 1,000 sessions, all known", sameStatements,
              compare(patience, oursKnown, floorKnown), 1.2);
}

}  // namespace brellin::bench
