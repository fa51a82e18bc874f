#include "BrellinCore/store/DataFiles.h"
#include "bench/Rows.h"
#include "bench/SessionFiles.h"
#include "bench/Spawn.h"
#include "tests/world/TemporaryDirectory.h"

#include <fmt/format.h>

#include <filesystem>
#include <string>

namespace brellin::bench {

namespace {

/// Writes one home's sessions into the history, ours by the companion and the floor's by its C program.
/// Each has a data directory of its own.
class Recorders {
  public:
    /// @param parent where homes and histories go: on a disk, or in memory
    Recorders(const std::filesystem::path& parent, int count) : home_(parent) {
        SessionFiles::writeDead(home_.path(), count);
    }

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
    constexpr std::string_view sameRows = "the same rows in one transaction, in C";
    const auto add = [&](const std::string& where, const std::filesystem::path& parent, int count) {
        Recorders recorders(parent, count);
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
        const std::string what = fmt::format("`havrick record` {}, {} sessions", where, count);
        table.add(what + ", all new", sameRows, compare(patience, oursNew, floorNew), 1.2);
        table.add(what + ", all known", sameRows, compare(patience, oursKnown, floorKnown), 1.2);
    };
    add("in memory", std::filesystem::temp_directory_path(), 1000);
    add("on a disk", std::filesystem::current_path() / "build", 100);
}

}  // namespace brellin::bench
