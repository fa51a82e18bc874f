#include "BrellinCLI/EventLine.h"
#include "BrellinCLI/HistoryCommand.h"
#include "BrellinCLI/Output.h"
#include "BrellinCLI/Recorder.h"
#include "BrellinCLI/ToolCommands.h"
#include "BrellinCLI/Watch.h"
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
#include <string>
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

/// What is wrong with a kind of event; empty when nothing is.
std::string refuseKind(const std::string& text) {
    const auto& kinds = EventLine::kinds;
    return std::ranges::find(kinds, text) != kinds.end()
               ? ""
               : fmt::format("there are no \"{}\" events; these are: {}", text, fmt::join(kinds, ", "));
}

/// The command line, and the command that it chose. Parsing fills the options; the command runs afterwards.
class CommandLine {
  public:
    CommandLine() {
        app_.set_version_flag("--version", "havrick " + std::string(BrellinVersion::current));
        app_.require_subcommand(1);
        addLiveCommand("now", "Who is running now, across every account", "havrick_now",
                       ToolCommands::printNowAsJson);
        addLiveCommand("accounts", "The accounts on this machine, and how each was found",
                       "havrick_accounts", ToolCommands::printAccountsAsJson);
        addQuestion("who", "One session: its identity, names and events", "havrick_who", "sessionId",
                    "The session's id, in full or as a prefix");
        addQuestion("send", "Prepare a message to a session: check it, give its exact address",
                    "havrick_send", "sessionId", "The session's id, in full or as a prefix");
        addResolve();
        addRecord();
        addHistory();
        addWatch();
    }

    /// @return the status to exit with
    ExitStatus run(int count, char** words) {
        try {
            app_.parse(count, words);
        } catch (const CLI::ParseError& error) {
            return explain(error);
        }
        return command_();
    }

  private:
    /// Help and version were asked for and go to standard output; everything else is the user's error.
    ExitStatus explain(const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            app_.exit(error, std::cout, std::cerr);
            return ExitStatus::success;
        }
        const std::vector<std::string> unknown = app_.remaining(true);
        printError(unknown.empty() ? error.what()
                                   : "there is no command or option \"" + unknown.front() + "\"");
        printError("`havrick --help` lists the commands, `havrick <command> --help` explains one");
        return ExitStatus::usage;
    }

    void addLiveCommand(const std::string& name, const std::string& description, const std::string& tool,
                        ExitStatus (*printAsJson)()) {
        CLI::App* command = app_.add_subcommand(name, description);
        command->add_flag("--json", asJson_, "Print the facts as one JSON document");
        command->callback([this, tool, printAsJson] {
            command_ = [this, tool, printAsJson] {
                return asJson_ ? printAsJson() : ToolCommands::printAnswer(tool);
            };
        });
    }

    void addQuestion(const std::string& name, const std::string& description, const std::string& tool,
                     const std::string& argumentName, const std::string& argumentDescription) {
        CLI::App* command = app_.add_subcommand(name, description);
        command->add_option(argumentName, argument_, argumentDescription)->required();
        command->callback([this, tool, argumentName] {
            command_ = [this, tool, argumentName] {
                return ToolCommands::printAnswer(tool, argumentName, argument_);
            };
        });
    }

    void addResolve() {
        CLI::App* command =
            app_.add_subcommand("resolve", "Which session a name or short address stands for");
        command->add_option("query", argument_, "A name or a short address")->required();
        command->callback([this] {
            command_ = [this] {
                const ExitStatus status = ToolCommands::printAnswer("havrick_resolve", "query", argument_);
                if (status != ExitStatus::success) {
                    HistoryCommand::reportFormerCarriers(argument_);
                }
                return status;
            };
        });
    }

    void addRepetition(CLI::App* command) {
        command
            ->add_option_function<std::string>(
                "--every", [this](const std::string& text) { every_ = duration(text); },
                "Go on, with a pause of that length (30 is 30 seconds; 500ms, 5m)")
            ->type_name("DURATION");
    }

    void addRecord() {
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
    }

    void addHistory() {
        CLI::App* command =
            app_.add_subcommand("history", "What the history knows, sessions long gone included");
        command->add_option(
            "what", argument_,
            "Everything about an id or its beginning, a name of any time, a short address, a "
            "watched target; without it, a list");
        addTime(command, "--since", "From then on", history_.filter.since);
        addTime(command, "--until", "Up to then", history_.filter.until);
        command->add_option("--account", history_.filter.account, "Only that account's, by label or path");
        command
            ->add_option("--kind", history_.filter.kind,
                         "Only with such an event, and of events only these")
            ->check(CLI::Validator(refuseKind, ""));
        command->add_option("--limit", history_.filter.limit, "The latest so many")
            ->check(CLI::Validator(refuseCount, ""));
        command->add_flag("--full", history_.isFull, "Whole ids, and observations");
        command->add_flag("--utc", history_.inUTC, "Times in UTC");
        command->add_flag("--json", history_.asJson, "Print one JSON document");
        addPrune(command);
        command->callback([this, command] {
            if (command->get_subcommands().empty()) {
                command_ = [this] { return showHistory(); };
            }
        });
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

    void addWatch() {
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

        watch->add_subcommand("list", "Print the watch list")->callback([this] { command_ = Watch::list; });

        CLI::App* scan = watch->add_subcommand("scan", "Look at every target now");
        scan->add_flag("--record", record_,
                       "Write what is seen into the history, and print each target's events");
        addRepetition(scan);
        scan->callback([this] { command_ = [this] { return Watch::scan(record_, every_); }; });
    }

    CLI::App app_{"Which Claude Code sessions are running on this machine, and at which address.",
                  "havrick"};
    std::function<ExitStatus()> command_;
    bool asJson_ = false;
    bool force_ = false;
    bool record_ = false;
    bool vacuums_ = false;
    std::optional<std::chrono::milliseconds> every_;
    std::optional<std::chrono::milliseconds> keep_;
    HistoryCommand::Options history_;
    std::string argument_;
    std::vector<std::string> words_;
};

ExitStatus runCompanion(int count, char** words) {
    try {
        return CommandLine().run(count, words);
    } catch (const ReaderGone&) {
        return ExitStatus::success;
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
