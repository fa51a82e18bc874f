#include "BrellinCLI/commands/Watch.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCLI/Interrupted.h"
#include "BrellinCLI/RepeatAtInterval.h"
#include "BrellinCLI/facts/JsonFields.h"
#include "BrellinCore/platform/ChildProcess.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Utf8.h"
#include "BrellinCore/watch/TargetChronicle.h"
#include "BrellinCore/watch/TargetScanner.h"
#include "BrellinCore/watch/WatchList.h"

#include <boost/json/array.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <set>
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
    if (!FileSystem::isMissing(file) && !FileSystem::openFile(file)) {
        printError(fmt::format("warning: {} is no file that can be read", file));
    } else if (!loaded.isReadable) {
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
    const std::string file = WatchList::file(directory).string();
    if (!FileSystem::isMissing(file) && !FileSystem::openFile(file)) {
        printError("nothing was changed");
        return ExitStatus::failure;
    }
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
    list.add(*target);  // nothing when it is watched already
    return std::nullopt;
}

std::optional<std::string> removeKey(WatchList& list, const std::string& key) {
    return list.remove(key) ? std::nullopt : std::optional(fmt::format("{} is not watched", key));
}

void appendResult(ReportText& text, const TargetScanResult& result) {
    const TargetVerdict& verdict = result.verdict;
    text.line("{} {}", glyph(verdict.state), Utf8::printable(verdict.target.describe()));
    text.line("    {} via {}", rawValue(verdict.state), verdict.method);
    if (verdict.diagnostic) {
        text.line("    ⚠ {}", Utf8::printable(*verdict.diagnostic));
    }
    const bool isLocal = TargetProbe::startZone(verdict.target) == DateText::Zone::local;
    const std::string_view zone = isLocal ? "local time" : "UTC";
    for (const ProcessSnapshot& occupant : verdict.occupants) {
        text.line("    held by pid {} · {} · started {}", occupant.pid, Utf8::printable(occupant.command),
                  occupant.startRaw ? fmt::format("{} {}", *occupant.startRaw, zone) : "unknown");
    }
    for (const StoredEvent& event : result.events.value_or(std::vector<StoredEvent>())) {
        text.line("    {} — {} ({}) — {}", DateText::timestampLocal(event.at), event.kind, event.certainty,
                  Utf8::printable(valueOr(event.detail, "")));
    }
}

/// Runs `ps` and `lsof` so that neither holds a scan up for ever. One that did not answer is not asked
/// again in the same scan.
class SupervisedPrograms {
  public:
    explicit SupervisedPrograms(const StopRequest& stop) : stop_(stop) {}

    /// @throws Interrupted a stop was requested
    std::optional<ChildProcess::Result> run(const char* executable,
                                            const std::vector<std::string>& arguments) {
        if (silent_.contains(executable)) {
            return std::nullopt;
        }
        auto run = ChildProcess::supervise(executable, arguments, {.stop = &stop_});
        if (stop_.hasArrived()) {
            throw Interrupted();
        }
        if (run && run->ending == ChildProcess::Ending::timedOut) {
            silent_.insert(executable);
        }
        const bool isWhole = run && run->ending == ChildProcess::Ending::exited;
        return isWhole ? std::optional(std::move(run->result)) : std::nullopt;
    }

    /// Adds why, where a verdict is unknown because a program did not answer.
    void explain(TargetVerdict& verdict) const {
        if (verdict.state == Liveness::unknown && !silent_.empty()) {
            verdict.diagnostic = fmt::format("{} ({} did not answer within ten seconds)",
                                             verdict.diagnostic.value_or(""), fmt::join(silent_, ", "));
        }
    }

  private:
    const StopRequest& stop_;
    std::set<std::string> silent_;
};

TargetScanner::Outcome probeAll(const WatchList& list, const StopRequest& stop) {
    SupervisedPrograms programs(stop);
    const auto system = TargetProbe::Enumerators::system(
        [&](const auto* executable, const auto& arguments) { return programs.run(executable, arguments); });
    auto outcome = TargetScanner::scan(list.targets, nullptr, false, 0, [&](const WatchTarget& target) {
        return TargetProbe::verdict(target, system);
    });
    for (TargetScanResult& result : outcome.results) {
        programs.explain(result.verdict);
    }
    return outcome;
}

/// Writes what scans see. Refuses to do so beside another recorder of watched targets: both would write
/// every event.
class ScanRecorder {
  public:
    explicit ScanRecorder(const StopRequest& stop) : history_(stop) {}

    void requireToBeAlone() { lock_.acquire(); }

    /// Where it fails the verdicts are still worth having: they stay without events, and the outcome's
    /// writeError says why.
    void record(TargetScanner::Outcome& outcome, std::int64_t now) {
        try {
            history_.use([&](Store& store) { TargetChronicle::record(outcome.results, store, now); });
        } catch (const PermanentError&) {
            throw;
        } catch (const std::runtime_error& failure) {
            outcome.writeError = failure.what();
        }
    }

  private:
    JobLock lock_{DataFiles::watchRecorderLock, "a recorder of watched targets"};
    WritableHistory history_;
};

/// Leaves out of each outcome what the one before it showed already.
class News {
  public:
    TargetScanner::Outcome in(TargetScanner::Outcome outcome) {
        std::erase_if(outcome.results, [this](TargetScanResult& result) { return !isNews(result); });
        return outcome;
    }

  private:
    struct Shown {
        TargetVerdict verdict;
        std::size_t eventCount = 0;
    };

    bool isNews(TargetScanResult& result) {
        const std::size_t eventCount = result.events ? result.events->size() : 0;
        const auto [shown, isFirst] =
            shown_.try_emplace(result.verdict.target.key(), Shown{result.verdict, eventCount});
        if (isFirst) {
            return true;
        }
        const Shown before = std::exchange(shown->second, Shown{result.verdict, eventCount});
        if (result.events) {
            result.events->erase(result.events->begin(),
                                 result.events->begin() +
                                     static_cast<std::ptrdiff_t>(std::min(before.eventCount, eventCount)));
        }
        return before.verdict != result.verdict || eventCount > before.eventCount;
    }

    std::map<std::string, Shown> shown_;
};

void printText(const TargetScanner::Outcome& outcome, std::int64_t now) {
    ReportText text;
    text.line("{} watched at {}:", outcome.results.size(), DateText::timestampLocal(now));
    for (const TargetScanResult& result : outcome.results) {
        appendResult(text, result);
    }
    print(std::move(text).take());
}

boost::json::object toJson(const TargetScanResult& result) {
    const TargetVerdict& verdict = result.verdict;
    boost::json::array occupants;
    for (const ProcessSnapshot& occupant : verdict.occupants) {
        boost::json::object facts = {{"pid", occupant.pid}, {"command", occupant.command}};
        addIfPresent(facts, "startRaw", occupant.startRaw);
        occupants.push_back(std::move(facts));
    }
    boost::json::object facts = {{"key", verdict.target.key()},
                                 {"description", verdict.target.describe()},
                                 {"state", rawValue(verdict.state)},
                                 {"method", verdict.method}};
    addIfPresent(facts, "diagnostic", verdict.diagnostic);
    facts["occupants"] = std::move(occupants);
    if (result.events) {
        boost::json::array events;
        for (const StoredEvent& event : *result.events) {
            events.push_back(cli::toJson(event));
        }
        facts["events"] = std::move(events);
    }
    return facts;
}

void printJson(const TargetScanner::Outcome& outcome, std::int64_t now) {
    boost::json::object document;
    addTime(document, "at", now);
    boost::json::array targets;
    for (const TargetScanResult& result : outcome.results) {
        targets.push_back(toJson(result));
    }
    document["targets"] = std::move(targets);
    printDocument(document);
}

/// @throws std::runtime_error what was seen could not be written
void show(const TargetScanner::Outcome& outcome, std::int64_t now, bool asJson) {
    if (asJson) {
        printJson(outcome, now);
    } else if (!outcome.results.empty()) {
        printText(outcome, now);
    }
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

ExitStatus list(bool asJson) {
    const WatchList::Loaded loaded = load();
    if (asJson) {
        boost::json::array targets;
        for (const WatchTarget& target : loaded.list.targets) {
            targets.push_back({{"key", target.key()}, {"description", target.describe()}});
        }
        printDocument({{"targets", std::move(targets)}});
        return loaded.isReadable ? ExitStatus::success : ExitStatus::failure;
    }
    if (loaded.list.targets.empty()) {
        return reportEmptyList(loaded);
    }
    ReportText text;
    for (const WatchTarget& target : loaded.list.targets) {
        text.line("{}", Utf8::printable(fmt::format("{} — {}", target.key(), target.describe())));
    }
    print(std::move(text).take());
    return ExitStatus::success;
}

ExitStatus scan(const ScanOptions& options) {
    const StopRequest stop;
    ScanRecorder recorder(stop);
    News news;
    std::optional<ExitStatus> emptyStatus;
    repeatAtInterval(stop, options.every, [&] {
        const WatchList::Loaded loaded = load();
        if (loaded.list.targets.empty()) {
            emptyStatus = emptyStatus ? emptyStatus : reportEmptyList(loaded);
            return;
        }
        emptyStatus.reset();
        if (options.isRecorded) {
            recorder.requireToBeAlone();
        }
        TargetScanner::Outcome outcome = probeAll(loaded.list, stop);
        const std::int64_t now = Clock::now();
        if (options.isRecorded) {
            recorder.record(outcome, now);
        }
        show(options.isFull ? std::move(outcome) : news.in(std::move(outcome)), now, options.asJson);
    });
    return options.every ? ExitStatus::success : emptyStatus.value_or(ExitStatus::success);
}

}  // namespace brellin::cli::Watch
