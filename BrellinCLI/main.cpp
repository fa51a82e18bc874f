#include "BrellinCLI/HistoryCommand.h"
#include "BrellinCLI/Output.h"
#include "BrellinCLI/Recorder.h"
#include "BrellinCLI/ToolCommands.h"
#include "BrellinCLI/Watch.h"
#include "BrellinCore/platform/ProcessSetup.h"
#include "BrellinCore/server/BrellinVersion.h"
#include "BrellinCore/watch/WatchTarget.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace brellin::cli {

namespace {

/// What is wrong with a number of seconds; empty when nothing is.
std::string refuseSeconds(const std::string& text) {
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    const bool isNumber = end != text.c_str() && *end == '\0' && std::isfinite(seconds);
    return isNumber && seconds >= 0 ? "" : "\"" + text + "\" is no number of seconds, 0 or more";
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
        addQuestion("resolve", "Which session a name or short address stands for", "havrick_resolve",
                    "query", "A name or a short address");
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

    void addRepetition(CLI::App* command) {
        command->add_option("--every", every_, "Go on, with a pause of that many seconds")
            ->type_name("SECONDS")
            ->check(CLI::Validator(refuseSeconds, ""));
    }

    void addRecord() {
        CLI::App* command = app_.add_subcommand("record", "Write what is running now into the history");
        addRepetition(command);
        command->callback(
            [this] { command_ = [this] { return Recorder::record(every_), ExitStatus::success; }; });
    }

    void addHistory() {
        CLI::App* command =
            app_.add_subcommand("history", "What the history knows, sessions long gone included");
        command->add_option("idPrefix", argument_, "Only what has an id that begins so");
        command->callback([this] { command_ = [this] { return HistoryCommand::show(argument_); }; });
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
    std::optional<double> every_;
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
    return static_cast<int>(brellin::cli::runCompanion(count, words));
}
