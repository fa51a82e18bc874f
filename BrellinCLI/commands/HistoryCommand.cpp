#include "BrellinCLI/commands/HistoryCommand.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCLI/facts/JsonFields.h"
#include "BrellinCLI/facts/Whom.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/reports/ReportText.h"
#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/store/Pruning.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Utf8.h"
#include "BrellinCore/watch/TargetReconciler.h"

#include <boost/json/array.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace brellin::cli::HistoryCommand {

namespace {

namespace json = boost::json;
using Entry = HistoryReader::Entry;

/// Everything about one entry.
struct Life {
    Entry entry;
    std::vector<NameWindow> names;
    std::vector<StoredEvent> events;
    std::vector<HistoryReader::Look> looks;  ///< only when everything is to be told
};

/// What a target is, for people; nullopt for a session.
std::optional<std::string_view> target(const Entry& entry) {
    std::string_view place = entry.accountPath;
    if (!place.starts_with(TargetReconciler::labelPrefix)) {
        return std::nullopt;
    }
    place.remove_prefix(TargetReconciler::labelPrefix.size());
    return place;
}

std::string addressOf(const Entry& entry) {
    return entry.name ? fmt::format("{} [{}]", *entry.name, entry.ref.value_or("?")) : "unnamed";
}

/// Writes times in the zone that was asked for.
class Times {
  public:
    explicit Times(bool inUTC) : inUTC_(inUTC) {}
    std::string operator()(std::int64_t time) const {
        return inUTC_ ? DateText::timestampUTC(time) : DateText::timestampLocal(time);
    }

  private:
    bool inUTC_;
};

std::string line(const Entry& entry, const Options& options) {
    constexpr std::size_t shownIdLength = 8;
    const Times time(options.inUTC);
    const auto watched = target(entry);
    return fmt::format(
        "{}  {}  {} · {} · {} to {} · {} {}",
        watched || options.isFull ? entry.sessionId : Utf8::prefix(entry.sessionId, shownIdLength),
        entry.state, addressOf(entry), watched ? "watched" : valueOr(entry.accountLabel, entry.accountPath),
        time(entry.firstSeen), time(entry.lastSeen), entry.eventCount,
        entry.eventCount == 1 ? "event" : "events");
}

/// Adds a line that stays one line, whatever characters a name or a path holds.
template <typename... Values>
void addLine(ReportText& text, fmt::format_string<Values...> format, Values&&... values) {
    text.line("{}", Utf8::printable(fmt::format(format, std::forward<Values>(values)...)));
}

void appendIdentity(ReportText& text, const Entry& entry, const Times& time) {
    addLine(text, "{}", entry.sessionId);
    if (const auto watched = target(entry)) {
        addLine(text, "  watched : {}", *watched);
    } else {
        addLine(text, "  account : {}", entry.accountPath);
        addLine(text, "  cwd     : {}", valueOr(entry.cwd, unknownWord));
        addLine(text, "  started : {}",
                entry.startedAt ? time(*entry.startedAt) : std::string(unknownWord));
    }
    addLine(text, "  seen    : {} to {}", time(entry.firstSeen), time(entry.lastSeen));
    addLine(text, "  state   : {}", entry.state);
}

void append(ReportText& text, const Life& life, const Times& time) {
    appendIdentity(text, life.entry, time);
    if (!life.names.empty()) {
        text.line("  Names:");
    }
    for (const NameWindow& window : life.names) {
        addLine(text, "    {} to {} — {} [{}]", time(window.from), window.to ? time(*window.to) : "now",
                window.name, valueOr(window.ref, "?"));
    }
    if (!life.events.empty()) {
        text.line("  Events:");
    }
    for (const StoredEvent& event : life.events) {
        addLine(text, "    {} — {} ({}) — {}", time(event.at), event.kind, event.certainty,
                valueOr(event.detail, ""));
    }
    if (!life.looks.empty()) {
        text.line("  Observations:");
    }
    for (const HistoryReader::Look& look : life.looks) {
        addLine(text, "    {} — {} via {} · pid {} · reported: {}", time(look.at), look.state, look.method,
                look.pid, valueOr(look.reportedStatus, unknownWord));
    }
}

template <typename Values>
json::array listOf(const Values& values) {
    json::array list;
    for (const auto& value : values) {
        list.push_back(toJson(value));
    }
    return list;
}

json::object lifeAsJson(const Life& life, bool isFull) {
    json::object facts = toJson(life.entry);
    facts["names"] = listOf(life.names);
    facts["events"] = listOf(life.events);
    if (isFull) {
        facts["observations"] = listOf(life.looks);
    }
    return facts;
}

std::optional<Life> lifeOf(const HistoryReader& history, const std::string& id, const Options& options) {
    auto entry = history.entry(id);
    const auto& account = options.filter.account;
    if (!entry || (account && entry->accountPath != *account && entry->accountLabel != *account)) {
        return std::nullopt;
    }
    Life life{std::move(*entry), history.names(id, options.filter), history.events(id, options.filter), {}};
    if (options.isFull) {
        life.looks = history.looks(id, options.filter);
    }
    return life;
}

std::vector<Life> livesOf(const HistoryReader& history, const std::string& word, const Options& options) {
    std::vector<Life> lives;
    for (const std::string& id : history.idsOf(word)) {
        if (auto life = lifeOf(history, id, options)) {
            lives.push_back(std::move(*life));
        }
    }
    return lives;
}

/// Of several that are, or were last, called so, the one that is alive is meant.
void keepAliveNamesake(std::vector<Life>& lives, const std::string& name) {
    const auto isAliveNamesake = [&](const Life& life) {
        return life.entry.name == name && life.entry.state == rawValue(Liveness::alive);
    };
    if (std::ranges::count_if(lives, isAliveNamesake) == 1) {
        std::erase_if(lives, [&](const Life& life) { return !isAliveNamesake(life); });
    }
}

UnclearWhom severalFit(const std::string& word, const std::vector<Life>& lives) {
    constexpr std::size_t most = 10;
    std::vector<std::string> details;
    for (const Life& life : lives) {
        if (details.size() == most) {
            details.push_back(fmt::format("  and {} more", lives.size() - most));
            break;
        }
        const Entry& entry = life.entry;
        details.push_back(fmt::format("  {:7}  {}  {}  {}", entry.state, entry.sessionId,
                                      valueOr(entry.accountLabel, entry.accountPath), addressOf(entry)));
    }
    return {fmt::format("\"{}\" stands for {} entries of the history; say which by its id:", word,
                        lives.size()),
            std::move(details)};
}

void reportCarrier(const Entry& entry, const NameWindow& window) {
    printError(fmt::format("the history has {} [{}], {} to {}: session {}, now {}", window.name,
                           valueOr(window.ref, "?"), DateText::timestampLocal(window.from),
                           window.to ? DateText::timestampLocal(*window.to) : "now", entry.sessionId,
                           entry.state));
}

void reportCarriers(const Life& life, const std::string& nameOrRef) {
    for (const NameWindow& window : life.names) {
        if (window.name == nameOrRef || window.ref == nameOrRef) {
            reportCarrier(life.entry, window);
        }
    }
}

void pruneObservations(Database& history, std::chrono::milliseconds olderThan, const StopRequest& stop) {
    const auto removed = Pruning::removeObservations(history, Clock::now() - olderThan.count(),
                                                     [&] { return stop.hasArrived(); });
    print(fmt::format("{} observations removed, {} bytes free for new ones", removed.observations,
                      removed.freedBytes));
}

/// Lets a command read the history; what goes wrong is told with the file's path.
template <typename Work>
auto reading(Work work) {
    const auto history = DataDirectory::openHistory();
    try {
        return work(*history);
    } catch (const StoreError& error) {
        throw std::runtime_error(fmt::format("the history {} cannot be read: {}",
                                             DataDirectory::database().string(), error.message()));
    }
}

}  // namespace

ExitStatus list(const Options& options) {
    const auto entries =
        reading([&](const HistoryReader& history) { return history.entries(options.filter); });
    if (options.asJson) {
        printDocument({{"entries", listOf(entries)}});
        return ExitStatus::success;
    }
    if (entries.empty()) {
        printError(
            fmt::format("the history {} holds nothing that fits", DataDirectory::database().string()));
        return ExitStatus::failure;
    }
    ReportText text;
    for (const Entry& entry : entries) {
        addLine(text, "{}", line(entry, options));
    }
    print(std::move(text).take());
    return ExitStatus::success;
}

ExitStatus tell(const std::string& word, const Options& options) {
    auto lives = reading([&](const HistoryReader& history) { return livesOf(history, word, options); });
    keepAliveNamesake(lives, word);
    if (lives.empty()) {
        printError(fmt::format(
            "the history knows no id that begins with \"{0}\", and no name, short address or watched "
            "target \"{0}\"",
            word));
        return ExitStatus::failure;
    }
    if (lives.size() > 1) {
        throw severalFit(word, lives);
    }
    const Life& life = lives.front();
    if (options.asJson) {
        printDocument(lifeAsJson(life, options.isFull));
        return ExitStatus::success;
    }
    ReportText text;
    append(text, life, Times(options.inUTC));
    print(std::move(text).take());
    return ExitStatus::success;
}

ExitStatus prune(std::chrono::milliseconds olderThan, bool vacuums) {
    DataDirectory::openHistory();  // so that nothing is made of a file of another program
    {
        const StopRequest stop;
        WritableHistory history(stop);
        history.use([&](Store& store) { pruneObservations(store.database(), olderThan, stop); });
        if (stop.hasArrived()) {
            printError("interrupted; the rest stays");
            return ExitStatus::failure;
        }
    }
    if (vacuums) {
        // A stop ends it at once, and nothing is lost by that.
        Database history(DataDirectory::database());
        print(fmt::format("{} bytes given back", Pruning::vacuum(history)));
    }
    return ExitStatus::success;
}

void reportFormerCarriers(const std::string& nameOrRef) {
    const auto history = DataDirectory::findHistory();
    if (!history) {
        return;
    }
    try {
        for (const Life& life : livesOf(*history, nameOrRef, {})) {
            reportCarriers(life, nameOrRef);
        }
    } catch (const StoreError&) {
        return;  // the answer stands without it
    }
}

}  // namespace brellin::cli::HistoryCommand
