#include "BrellinCLI/commands/DoctorCommand.h"
#include "BrellinCLI/commands/HistoryCommand.h"
#include "BrellinCLI/commands/ListCommand.h"
#include "BrellinCLI/commands/Recorder.h"
#include "BrellinCLI/commands/ToolCommands.h"
#include "BrellinCLI/commands/TopCommand.h"
#include "BrellinCLI/commands/Watch.h"
#include "BrellinCLI/facts/Whom.h"
#include "BrellinCLI/views/EventLine.h"
#include "BrellinCLI/views/Help.h"
#include "BrellinCLI/views/Output.h"
#include "BrellinCore/platform/ChildProcess.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/platform/ProcessSetup.h"
#include "BrellinCore/server/BrellinVersion.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Decimal.h"
#include "BrellinCore/text/Duration.h"
#include "BrellinCore/watch/WatchTarget.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace brellin::cli {

namespace {

/// The length of time that an option gives.
///
/// @throws CLI::ValidationError it is none
std::chrono::milliseconds duration(const std::string& text) {
    if (const auto length = Duration::parse(text)) {
        return *length;
    }
    throw CLI::ValidationError(
        fmt::format("\"{}\" is no length of time; these are: {}", text, Duration::forms));
}

/// The point in time that an option gives, in milliseconds since the Unix epoch.
///
/// @throws CLI::ValidationError it is none
std::int64_t pointInTime(const std::string& text) {
    // A bare number would be so many seconds ago, and "2026" is meant as a year.
    const bool isBareNumber = text.find_first_not_of("0123456789.") == std::string::npos;
    const auto time = isBareNumber ? std::nullopt : DateText::parsePointInTime(text, Clock::now());
    if (time) {
        return *time;
    }
    throw CLI::ValidationError(fmt::format(
        R"("{}" is no point in time; these are: 2h, 7d, 2026-11-01, "2026-11-01 14:00")", text));
}

/// What is wrong with a number of entries; empty when nothing is.
std::string refuseCount(const std::string& text) {
    const auto count = parseDecimal<std::int64_t>(text);
    return count && *count > 0 ? "" : fmt::format("\"{}\" is no number from 1 on", text);
}

/// Refuses words that are none of these.
CLI::Validator oneOf(std::vector<std::string> words) {
    return {[words = std::move(words)](const std::string& text) {
                return std::ranges::find(words, text) != words.end()
                           ? std::string()
                           : fmt::format("\"{}\" is none of {}", text, fmt::join(words, ", "));
            },
            ""};
}

/// The command line, and the command that it chose. Parsing fills the options; the command runs afterwards.
class CommandLine {
  public:
    CommandLine() {
        app_.set_version_flag("-V,--version", "havrick " + std::string(BrellinVersion::current));
        const char* now = "Who is running now";
        addLiveCommand("now", "The text that an agent gets: every session, four to six lines each",
                       "havrick_now", ToolCommands::printNowAsJson)
            ->group(now);
        addList()->group(now);
        addTop()->group(now);
        addIsAlive()->group(now);
        addLiveCommand("accounts", "The accounts on this machine, and how each was found",
                       "havrick_accounts", ToolCommands::printAccountsAsJson)
            ->group(now);
        const char* one = "One session, by id, name or short address";
        addQuestion("who", "Its identity, names and events", ToolCommands::who,
                    {"whom", "Its id or the beginning of it, name or short address"})
            ->group(one);
        addQuestion("send", "Prepare a message to it: check it, give its exact address", ToolCommands::send,
                    {"whom", "Its id or the beginning of it, name or short address"})
            ->group(one);
        addQuestion("resolve", "Which session a name or short address stands for", ToolCommands::resolve,
                    {"query", "A name or a short address"})
            ->group(one);
        const char* past = "What was";
        addRecord()->group(past);
        addHistory()->group(past);
        addWatch()->group(past);
        addDoctor()->group("Help");
        app_.add_subcommand("help", "What the commands are, or what one of them does")->group("Help");
    }

    /// @return the status to exit with
    ExitStatus run(int count, char** words) {
        if (count < 2) {
            print(Help::overview(app_));
            return ExitStatus::success;
        }
        // The names of commands behind "help" are no commands, which only somebody before the parser can
        // know.
        if (std::string_view(words[1]) == "help") {
            return help({words + 2, words + count});
        }
        try {
            app_.parse(count, words);
        } catch (const CLI::ParseError& error) {
            return explain(error);
        }
        return command_();
    }

  private:
    /// Help and version were asked for and go to standard output; everything else is the user's error.
    ExitStatus explain(const CLI::ParseError& error) const {
        if (error.get_exit_code() != 0) {
            for (const std::string& line : Help::explain(app_, error)) {
                printError(line);
            }
            return ExitStatus::usage;
        }
        const bool isOverview =
            dynamic_cast<const CLI::CallForHelp*>(&error) != nullptr && app_.get_subcommands().empty();
        if (isOverview) {
            print(Help::overview(app_));
        } else {
            app_.exit(error, std::cout, std::cerr);
        }
        return ExitStatus::success;
    }

    ExitStatus help(const std::vector<std::string>& words) const {
        const CLI::App* topic = &app_;
        for (const std::string& word : words) {
            const auto commands = topic->get_subcommands(nullptr);
            const auto named = std::ranges::find_if(
                commands, [&](const CLI::App* command) { return command->check_name(word); });
            if (named == commands.end()) {
                throw std::runtime_error(
                    fmt::format("there is no command \"{}\"; `havrick help` lists them", word));
            }
            topic = *named;
        }
        print(topic == &app_ ? Help::overview(app_) : topic->help());
        return ExitStatus::success;
    }

    CLI::App* addLiveCommand(const std::string& name, const std::string& description,
                             const std::string& tool, ExitStatus (*printAsJson)()) {
        CLI::App* command = app_.add_subcommand(name, description);
        command->add_flag("--json", asJson_, "Print the facts as one JSON document");
        command->callback([this, tool, printAsJson] {
            command_ = [this, tool, printAsJson] {
                return asJson_ ? printAsJson() : ToolCommands::printReport(tool);
            };
        });
        return command;
    }

    struct Argument {
        std::string name;
        std::string description;
    };

    CLI::App* addQuestion(const std::string& name, const std::string& description,
                          ExitStatus (*answer)(const std::string&, bool), const Argument& argument) {
        CLI::App* command = app_.add_subcommand(name, description);
        command->add_option(argument.name, argument_, argument.description)->required();
        command->add_flag("--json", asJson_, "Print the facts as one JSON document");
        command->callback(
            [this, answer] { command_ = [this, answer] { return answer(argument_, asJson_); }; });
        return command;
    }

    CLI::App* addList() {
        CLI::App* command =
            app_.add_subcommand("list", "The declared sessions, one line each")->alias("ls");
        command->add_option("--account", list_.account, "Only that account's, by label or path");
        command->add_option("--state", list_.state, "Only those in that state")
            ->check(oneOf({"alive", "stale", "unknown", "zombie"}));
        command->add_option("--name", list_.name, "Only those whose name fits a pattern such as 'kio-*'");
        command->add_option("--cwd", list_.directory, "Only those in that directory, or below it");
        command
            ->add_option_function<std::string>(
                "--sort",
                [this](const std::string& text) { list_.order = *SessionTable::orderFromName(text); },
                "By state, name, account, status, pid, age or directory")
            ->check(oneOf(SessionTable::orderNames()));
        command->add_flag("--reverse", list_.isReversed, "The last one first");
        command->add_flag("--wide", list_.isWide, "With ids and start times, and nothing cut");
        command->add_flag_callback(
            "--no-header", [this] { list_.hasTitles = false; }, "Without the line of titles");
        command->add_flag("-q", list_.idsAlone, "The ids alone");
        command->add_flag("--json", list_.asJson, "Print the facts as one JSON document");
        addRepetition(command);
        command->callback([this] {
            command_ = [this] {
                list_.every = every_;
                return ListCommand::list(list_);
            };
        });
        return command;
    }

    CLI::App* addTop() {
        CLI::App* command = app_.add_subcommand("top", "The same list, live; ? shows its keys");
        command
            ->add_option_function<std::string>(
                "--every", [this](const std::string& text) { every_ = duration(text); },
                "The pause between two looks (2 is 2 seconds, which is usual; 500ms, 1m)")
            ->type_name("DURATION");
        command->callback([this] {
            command_ = [this] { return TopCommand::top(every_.value_or(TopCommand::usualPause)); };
        });
        return command;
    }

    CLI::App* addIsAlive() {
        CLI::App* command = app_.add_subcommand(
            "is-alive",
            "Whether a session is alive: status 0 when it is, 1 when it is not, 3 when nobody knows");
        command->add_option("whom", argument_, "Its id or the beginning of it, name or short address")
            ->required();
        command->add_flag("-q", isQuiet_, "Print nothing");
        command->add_flag("--json", asJson_, "Print the facts as one JSON document");
        command->callback(
            [this] { command_ = [this] { return ListCommand::isAlive(argument_, isQuiet_, asJson_); }; });
        return command;
    }

    void addRepetition(CLI::App* command) {
        command
            ->add_option_function<std::string>(
                "--every", [this](const std::string& text) { every_ = duration(text); },
                "Go on, with a pause of that length (30 is 30 seconds; 500ms, 5m)")
            ->type_name("DURATION");
    }

    CLI::App* addRecord() {
        CLI::App* command = app_.add_subcommand("record", "Write what is running now into the history");
        addRepetition(command);
        command
            ->add_option_function<std::string>(
                "--keep", [this](const std::string& text) { keep_ = duration(text); },
                "Once a day remove observations that are older (90d)")
            ->type_name("DURATION");
        command->add_flag("--json", asJson_, "Print each change as one JSON document, on one line");
        command->callback([this] {
            command_ = [this] {
                return Recorder::record({.every = every_, .keep = keep_, .asJson = asJson_}),
                       ExitStatus::success;
            };
        });
        return command;
    }

    CLI::App* addHistory() {
        CLI::App* command =
            app_.add_subcommand("history", "What the history knows, sessions long gone included");
        command->add_option(
            "what", argument_,
            "Everything about an id or its beginning, a name of any time, a short address, a "
            "watched target; without it, a list");
        addHistoryFilter(command);
        command->add_flag("--full", history_.isFull, "Whole ids, and observations");
        command->add_flag("--utc", history_.inUTC, "Times in UTC");
        command->add_flag("--json", history_.asJson, "Print one JSON document");
        addPrune(command);
        command->callback([this, command] { chooseHistory(*command); });
        return command;
    }

    void addHistoryFilter(CLI::App* command) {
        addTime(command, "--since", "From then on", history_.filter.since);
        addTime(command, "--until", "Up to then", history_.filter.until);
        command->add_option("--account", history_.filter.account, "Only that account's, by label or path");
        command
            ->add_option("--kind", history_.filter.kind,
                         "Only with such an event, and of events only these")
            ->check(oneOf({EventLine::kinds.begin(), EventLine::kinds.end()}));
        command->add_option("--limit", history_.filter.limit, "The latest so many")
            ->check(CLI::Validator(refuseCount, ""));
    }

    /// Unless it is `prune` that was chosen, whose callback came first.
    void chooseHistory(const CLI::App& command) {
        if (command.get_subcommands().empty()) {
            command_ = [this] { return showHistory(); };
        }
    }

    ExitStatus showHistory() {
        return argument_.empty() ? HistoryCommand::list(history_)
                                 : HistoryCommand::tell(argument_, history_);
    }

    static void addTime(CLI::App* command, const std::string& name, const std::string& description,
                        std::optional<std::int64_t>& time) {
        command
            ->add_option_function<std::string>(
                name, [&time](const std::string& text) { time = pointInTime(text); },
                description + " (2h, 7d: that long ago; 2026-11-01, \"2026-11-01 14:00\")")
            ->type_name("TIME");
    }

    void addPrune(CLI::App* history) {
        CLI::App* command =
            history->add_subcommand("prune", "Remove old observations; events, names and sessions stay");
        command
            ->add_option_function<std::string>(
                "--older-than", [this](const std::string& text) { keep_ = duration(text); },
                "Those made longer ago than that (90d)")
            ->type_name("DURATION")
            ->required();
        command->add_flag("--vacuum", vacuums_, "Give the space back to the file system");
        command->callback([this] {
            if (!argument_.empty() || history_.filter != HistoryReader::Filter()) {
                throw CLI::ValidationError("prune takes no part of the history, it removes from all of it");
            }
            command_ = [this] { return HistoryCommand::prune(keep_.value(), vacuums_); };
        });
    }

    CLI::App* addWatch() {
        CLI::App* watch = app_.add_subcommand("watch", "Watch processes, commands and TCP ports");
        watch->require_subcommand(1);

        CLI::App* add = watch->add_subcommand("add", "Add targets to the watch list");
        add->add_option("spec", words_, WatchTarget::specForms())->required();
        add->add_flag("--force", force_, "Write over a damaged list");
        add->callback([this] { command_ = [this] { return Watch::add(words_, force_); }; });

        CLI::App* remove = watch->add_subcommand("remove", "Remove targets from the watch list");
        remove->add_option("key", words_, "A target's key, as `havrick watch list` prints it")->required();
        remove->add_flag("--force", force_, "Write over a damaged list");
        remove->callback([this] { command_ = [this] { return Watch::remove(words_, force_); }; });

        CLI::App* list = watch->add_subcommand("list", "Print the watch list");
        list->add_flag("--json", asJson_, "Print one JSON document");
        list->callback([this] { command_ = [this] { return Watch::list(asJson_); }; });

        CLI::App* scan = watch->add_subcommand("scan", "Look at every target now");
        scan->add_flag("--record", scan_.isRecorded,
                       "Write what is seen into the history, and print each target's events");
        scan->add_flag("--full", scan_.isFull, "Print everything in each round, not only what is new");
        scan->add_flag("--json", scan_.asJson, "Print one JSON document a round");
        addRepetition(scan);
        scan->callback([this] {
            scan_.every = every_;
            command_ = [this] { return Watch::scan(scan_); };
        });
        return watch;
    }

    CLI::App* addDoctor() {
        CLI::App* command =
            app_.add_subcommand("doctor", "What is wrong here, and what to do about it; changes nothing");
        command->add_flag("--json", asJson_, "Print the findings as one JSON document");
        command->callback([this] { command_ = [this] { return DoctorCommand::examine(asJson_); }; });
        return command;
    }

    CLI::App app_{"Which Claude Code sessions are running on this machine, and at which address.",
                  "havrick"};
    std::function<ExitStatus()> command_;
    bool asJson_ = false;
    bool force_ = false;
    Watch::ScanOptions scan_;
    bool vacuums_ = false;
    std::optional<std::chrono::milliseconds> every_;
    std::optional<std::chrono::milliseconds> keep_;
    HistoryCommand::Options history_;
    ListCommand::Options list_;
    bool isQuiet_ = false;
    std::string argument_;
    std::vector<std::string> words_;
};

ExitStatus runCompanion(int count, char** words) {
    try {
        return CommandLine().run(count, words);
    } catch (const ReaderGone&) {
        return ExitStatus::success;
    } catch (const UnclearWhom& failure) {
        printError(failure.what());
        for (const std::string& detail : failure.details()) {
            printError(detail);
        }
        return ExitStatus::failure;
    } catch (const std::exception& failure) {
        printError(failure.what());
        return ExitStatus::failure;
    }
}

}  // namespace

}  // namespace brellin::cli

int main(int count, char** words) {
    brellin::ProcessSetup::prepare();
    brellin::ChildProcess::limitRuns(std::chrono::seconds(10));
    return static_cast<int>(brellin::cli::runCompanion(count, words));
}
