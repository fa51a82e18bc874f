#include "BrellinCLI/Watch.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCLI/Rounds.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/platform/DateText.h"
#include "BrellinCore/platform/Utf8.h"
#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/sessions/LivenessProbe.h"
#include "BrellinCore/watch/TargetScanner.h"
#include "BrellinCore/watch/WatchList.h"

#include <fmt/format.h>

#include <functional>
#include <stdexcept>
#include <system_error>

namespace brellin::cli::Watch {

namespace {

/// Loads the list and tells what of it could not be read.
WatchList::Loaded load() {
    const std::filesystem::path directory = DataDirectory::path();
    const std::string file = WatchList::file(directory).string();
    WatchList::Loaded loaded = WatchList::load(directory);
    if (!loaded.isReadable) {
        complain(fmt::format("warning: {} is damaged: it is no JSON array of strings", file));
    } else if (loaded.skipped > 0) {
        complain(
            fmt::format("warning: {} is damaged: {} of its entries are no watch specs and were skipped",
                        file, loaded.skipped));
    }
    return loaded;
}

/// Tries an edit on every word and saves the list when any succeeded. The edit returns what is wrong with a
/// word, nothing when it was done.
ExitStatus editList(const std::vector<std::string>& words, bool force,
                    const std::function<std::optional<std::string>(WatchList&, const std::string&)>& edit) {
    const FileLock onlyEditor = DataDirectory::lock("watchlist.lock", FileLock::Contention::wait);
    const std::filesystem::path directory = DataDirectory::path();
    WatchList::Loaded loaded = load();
    if (!force && (!loaded.isReadable || loaded.skipped > 0)) {
        complain("nothing was changed; --force writes a new list over the damaged one");
        return ExitStatus::failure;
    }
    std::size_t refused = 0;
    for (const std::string& word : words) {
        if (const auto reason = edit(loaded.list, word)) {
            complain(*reason);
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
        return fmt::format("\"{}\" is no watch spec: those are pid:<number>, cmd:<text> and port:<number>",
                           spec);
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
    // The process table has local start times, the other enumerators give UTC.
    const std::string_view zone = verdict.method == "ps" ? "local time" : "UTC";
    for (const ProcessSnapshot& occupant : verdict.occupants) {
        text.line("    held by pid {} · {} · started {}", occupant.pid, occupant.command,
                  occupant.startRaw ? fmt::format("{} {}", *occupant.startRaw, zone) : "unknown");
    }
    for (const StoredEvent& event : result.events.value_or(std::vector<StoredEvent>())) {
        text.line("    {} — {} ({}) — {}", DateText::timestampUTC(event.at), event.kind, event.certainty,
                  valueOr(event.detail, ""));
    }
}

void scanOnce(bool record) {
    const TargetProbe::Enumerators system = {TargetProbe::psSnapshot, TargetProbe::lsofPort,
                                             LivenessProbe::processExists,
                                             LivenessProbe::processStartUTCString};
    const auto probe = [&](const WatchTarget& target) { return TargetProbe::verdict(target, system); };
    const WatchList list = load().list;
    const std::int64_t now = Clock::now();
    TargetScanner::Outcome outcome;
    const auto scanInto = [&](Store* store) {
        outcome = TargetScanner::scan(list.targets, store, record, now, probe);
    };
    std::optional<std::string> storeFailure;
    try {
        record ? DataDirectory::withStore([&](Store& store) { scanInto(&store); }) : scanInto(nullptr);
    } catch (const std::runtime_error& failure) {
        storeFailure = failure.what();
        scanInto(nullptr);  // the verdicts are worth having without a history
    }
    ReportText text;
    text.line("{} targets at {}:", outcome.results.size(), DateText::timestampUTC(now));
    for (const TargetScanResult& result : outcome.results) {
        appendResult(text, result);
    }
    print(std::move(text).take());
    if (outcome.writeError) {
        storeFailure = fmt::format("{} ({})", *outcome.writeError, DataDirectory::path().string());
    }
    if (storeFailure) {
        throw std::runtime_error(*storeFailure);
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
    const WatchList list = load().list;
    if (list.targets.empty()) {
        complain("nothing is watched; `havrick watch add <spec>` changes that");
        return ExitStatus::success;
    }
    ReportText text;
    for (const WatchTarget& target : list.targets) {
        text.line("{} — {}", target.key(), target.describe());
    }
    print(std::move(text).take());
    return ExitStatus::success;
}

void scan(bool record, std::optional<double> every) {
    std::optional<FileLock> lock;
    runRounds(every, [&] {
        if (record && !lock) {
            lock.emplace(DataDirectory::lockForJob("watch-recorder.lock", "a recorder of watched targets"));
        }
        scanOnce(record);
    });
}

}  // namespace brellin::cli::Watch
