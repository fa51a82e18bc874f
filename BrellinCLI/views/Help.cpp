#include "BrellinCLI/views/Help.h"

#include "BrellinCLI/facts/Whom.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace brellin::cli::Help {

namespace {

constexpr std::string_view usageAndExamples = R"(Examples:
  havrick list --state alive         whom could I write to?
  havrick send kio-apps-2e           the exact address of one of them
  havrick history --since 1d         who came, went, crashed?

Environment:
  HAVRICK_ROOT         the data directory; without it Library/Application Support/Havrick in the home
  CLAUDE_CONFIG_DIR    one more account to look at, and the one that this process runs under

`havrick help <command>` explains one, `man havrick` everything.)";

/// The innermost command that the line named.
const CLI::App& chosenCommand(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? app : chosenCommand(*chosen.front());
}

/// "havrick watch add".
std::string fullName(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return parent == nullptr ? command.get_name() : fullName(*parent) + " " + command.get_name();
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands(nullptr)) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> optionNames(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        if (!option->get_lnames().empty()) {
            names.push_back("--" + option->get_lnames().front());
        }
    }
    return names;
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& names) {
    const auto meant = Whom::nearest(word, names);
    return meant.empty() ? "" : fmt::format("; did you mean {}?", fmt::join(meant, " or "));
}

std::string aboutUnknownWord(const CLI::App& command, const std::string& word) {
    if (word.starts_with('-') && word != "-") {
        return fmt::format("{} has no option {}{}", fullName(command), word,
                           didYouMean(word, optionNames(command)));
    }
    if (!commandNames(command).empty()) {
        return fmt::format("there is no command \"{}\"{}", word, didYouMean(word, commandNames(command)));
    }
    return fmt::format("\"{}\" is one word too many for {}", word, fullName(command));
}

/// What a command must be given and was not: its first positional that is required and empty.
std::string aboutMissingWord(const CLI::App& command) {
    if (!commandNames(command).empty() && command.get_subcommands().empty()) {
        return fmt::format("{} needs a command: {}", fullName(command),
                           fmt::join(commandNames(command), ", "));
    }
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_required() && option->empty()) {
            return option->get_positional()
                       ? fmt::format("{} needs a {}", fullName(command), option->get_name(true))
                       : fmt::format("{} needs {}", fullName(command), option->get_name());
        }
    }
    return fmt::format("{} needs more words", fullName(command));
}

std::string inWords(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& command = chosenCommand(app);
    const auto unknown = app.remaining(true);
    if (!unknown.empty() && unknown.front() != "--") {
        return aboutUnknownWord(command, unknown.front());
    }
    if (!unknown.empty() || dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        return aboutMissingWord(command);
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        const std::string text = error.what();
        return fmt::format("{}: an option lacks its value, or stands there twice ({})", fullName(command),
                           text.substr(0, text.find(':')));
    }
    return error.what();
}

void append(std::string& text, const CLI::App& app, const std::string& group) {
    text += group + ":\n";
    for (const CLI::App* command : app.get_subcommands(nullptr)) {
        if (command->get_group() == group) {
            const auto& aliases = command->get_aliases();
            const std::string name =
                aliases.empty() ? command->get_name() : command->get_name() + ", " + aliases.front();
            text += fmt::format("  {:<10} {}\n", name, command->get_description());
        }
    }
    text += "\n";
}

}  // namespace

std::string overview(const CLI::App& app) {
    std::string text = app.get_description() + "\n\n";
    std::vector<std::string> groups;
    for (const CLI::App* command : app.get_subcommands(nullptr)) {
        if (std::ranges::find(groups, command->get_group()) == groups.end()) {
            groups.push_back(command->get_group());
        }
    }
    for (const std::string& group : groups) {
        append(text, app, group);
    }
    return text.append(usageAndExamples);
}

std::vector<std::string> explain(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& command = chosenCommand(app);
    const std::string hint = command.get_parent() == nullptr
                                 ? "`havrick help` lists the commands"
                                 : fmt::format("`{} --help` explains it", fullName(command));
    return {inWords(app, error), hint};
}

}  // namespace brellin::cli::Help
