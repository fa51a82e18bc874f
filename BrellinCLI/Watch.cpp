#include "BrellinCLI/Watch.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCLI/RepeatAtInterval.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Utf8.h"
#include "BrellinCore/watch/TargetScanner.h"
#include "BrellinCore/watch/WatchList.h"

#include <fmt/format.h>

#include <functional>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace brellin::cli::Watch {

namespace {

/// Loads the list and reports what of it could not be read.
WatchList::Loaded load() {
    const std::filesystem::path directory = DataDirectory::path();
    const std::string file = WatchList::file(directory).string();
    WatchList::Loaded loaded = WatchList::load(directory);
    if (!loaded.isReadable) {
        printError(fmt::format("warning: {} cannot be read as a list of watch specs", file));
    } else if (loaded.skipped > 0) {
        printError(
            fmt::format("warning: {} is damaged: {} of its entries are no watch specs and were skipped",
                        file, loaded.skipped));
    }
    return loaded;
}

/// Reports an empty list: no output would look like a failure.
ExitStatus reportEmptyList(const WatchList::Loaded& loaded) {
    if (!loaded.isReadable) {
        return ExitStatus::failure;
    }
    printError("nothing is watched; `havrick watch add <spec>` changes that");
    return ExitStatus::success;
}

/// Tries an edit on every word and saves the list when any succeeded. The edit returns what is wrong with a
/// word, nothing when it was done.
ExitStatus editList(const std::vector<std::string>& words, bool force,
                    const std::function<std::optional<std::string>(WatchList&, const std::string&)>& edit) {
    const FileLock onlyEditor = DataDirectory::lock(DataFiles::watchListLock, FileLock::Contention::wait);
    const std::filesystem::path directory = DataDirectory::path();
    WatchList::Loaded loaded = load();
    if (!force && (!loaded.isReadable || loaded.skipped > 0)) {
        printError("nothing was changed; --force writes a new list over it");
        return ExitStatus::failure;
    }
    std::size_t refused = 0;
    for (const std::string& word : words) {
        if (const auto reason = edit(loaded.list, word)) {
            printError(*reason);
            ++refused;
        }
    }
    if (refused < words.size()) {
        try {
            loaded.list.save(directory);
        } catch (const std::system_error& error) {
            throw std::runtime_error(fmt::format(
                "{} cannot be written: {}", WatchList::file(directory).string(), error.code().message()));
        }
    }
    return refused == 0 ? ExitStatus::success : ExitStatus::failure;
}

std::optional<std::string> addSpec(WatchList& list, const std::string& spec) {
    const auto target = Utf8::isValid(spec) ? WatchTarget::fromSpec(spec) : std::nullopt;
    if (!target) {
        return fmt::format("\"{}\" is no watch spec; these are: {}", spec, WatchTarget::specForms());
    }
    if (!list.add(*target)) {
        return fmt::format("{} is watched already", target->key());
    }
    return std::nullopt;
}

std::optional<std::string> removeKey(WatchList& list, const std::string& key) {
    return list.remove(key) ? std::nullopt : std::optional(fmt::format("{} is not watched", key));
}

void appendResult(ReportText& text, const TargetScanResult& result) {
    const TargetVerdict& verdict = result.verdict;
    text.line("{} {}", glyph(verdict.state), verdict.target.describe());
    text.line("    {} via {}", rawValue(verdict.state), verdict.method);
    if (verdict.diagnostic) {
        text.line("    ⚠ {}", *verdict.diagnostic);
    }
    const bool isLocal = TargetProbe::startZone(verdict.target) == DateText::Zone::local;
    const std::string_view zone = isLocal ? "local time" : "UTC";
    for (const ProcessSnapshot& occupant : verdict.occupants) {
        text.line("    held by pid {} · {} · started {}", occupant.pid, occupant.command,
                  occupant.startRaw ? fmt::format("{} {}", *occupant.startRaw, zone) : "unknown");
    }
    for (const StoredEvent& event : result.events.value_or(std::vector<StoredEvent>())) {
        text.line("    {} — {} ({}) — {}", DateText::timestampUTC(event.at), event.kind, event.certainty,
                  valueOr(event.detail, ""));
    }
}

TargetScanner::Outcome probeAll(const WatchList& list, Store* store, std::int64_t now) {
    const auto system = TargetProbe::Enumerators::system();
    return TargetScanner::scan(list.targets, store, store != nullptr, now, [&](const WatchTarget& target) {
        return TargetProbe::verdict(target, system);
    });
}

/// Refuses to run beside another recorder of watched targets: both would write every event.
class ScanRecorder {
  public:
    /// Probes and records. Where that fails the verdicts are still worth having: they come without events,
    /// and the outcome's writeError says why.
    TargetScanner::Outcome scan(const WatchList& list, std::int64_t now) {
        TargetScanner::Outcome outcome;
        try {
            lock_.acquire();
            DataDirectory::withStore([&](Store& store) { outcome = probeAll(list, &store, now); });
        } catch (const PermanentError&) {
            throw;
        } catch (const std::runtime_error& failure) {
            outcome = probeAll(list, nullptr, now);
            outcome.writeError = failure.what();
        }
        return outcome;
    }

  private:
    JobLock lock_{DataFiles::watchRecorderLock, "a recorder of watched targets"};
};

void printOutcome(const TargetScanner::Outcome& outcome, std::int64_t now) {
    ReportText text;
    text.line("{} watched at {}:", outcome.results.size(), DateText::timestampUTC(now));
    for (const TargetScanResult& result : outcome.results) {
        appendResult(text, result);
    }
    print(std::move(text).take());
    if (outcome.writeError) {
        throw std::runtime_error(*outcome.writeError);
    }
}

}  // namespace

ExitStatus add(const std::vector<std::string>& specs, bool force) {
    return editList(specs, force, addSpec);
}

ExitStatus remove(const std::vector<std::string>& keys, bool force) {
    return editList(keys, force, removeKey);
}

ExitStatus list() {
    const WatchList::Loaded loaded = load();
    if (loaded.list.targets.empty()) {
        return reportEmptyList(loaded);
    }
    ReportText text;
    for (const WatchTarget& target : loaded.list.targets) {
        text.line("{} — {}", target.key(), target.describe());
    }
    print(std::move(text).take());
    return ExitStatus::success;
}

ExitStatus scan(bool record, std::optional<double> every) {
    ScanRecorder recorder;
    ExitStatus status = ExitStatus::success;
    repeatAtInterval(every, [&] {
        const WatchList::Loaded loaded = load();
        if (loaded.list.targets.empty()) {
            status = reportEmptyList(loaded);
            return;
        }
        const std::int64_t now = Clock::now();
        printOutcome(record ? recorder.scan(loaded.list, now) : probeAll(loaded.list, nullptr, now), now);
    });
    return every ? ExitStatus::success : status;
}

}  // namespace brellin::cli::Watch
