#include "BrellinCore/accounts/ShellAliases.h"
#include "BrellinCore/text/Decimal.h"
#include "BrellinCore/text/Utf8.h"
#include "fuzz/Target.h"
#include "tests/world/TemporaryDirectory.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string>

namespace brellin {

namespace {

using fuzz::require;

constexpr std::array<std::string_view, 1> startupFiles = {".zshrc"};

/// A definition of the alias. It begins with the command, as no other word of that name would be one.
std::string definitionOf(const ShellAlias& alias) {
    std::string definition = "alias " + alias.name + "='claude";
    if (alias.configDir) {
        definition += " CLAUDE_CONFIG_DIR=" + *alias.configDir;
    }
    for (const std::string& flag : alias.extraFlags) {
        definition += " " + flag;
    }
    return definition + "'";
}

/// A line feed after a carriage return ends no line.
std::size_t lineCount(std::string_view text) {
    std::size_t lines = 1;
    for (std::size_t index = 0; index < text.size(); ++index) {
        lines += text[index] == '\n' && (index == 0 || text[index - 1] != '\r') ? 1U : 0U;
    }
    return lines;
}

/// The number at the end of "<file>:<line>".
std::size_t lineOf(const ShellAlias& alias) {
    return parseDecimal<std::size_t>(alias.definedAt.substr(alias.definedAt.rfind(':') + 1)).value_or(0);
}

void feedLine(std::string_view line) {
    const auto alias = ShellAliases::parse(line, ".zshrc:1");
    if (!alias) {
        return;
    }
    require(!alias->name.empty(), "an alias has a name");
    // "alias " is counted in characters, which bytes that are no UTF-8 do not have.
    if (Utf8::isValid(line)) {
        require(ShellAliases::parse(definitionOf(*alias), ".zshrc:1") == alias,
                "an alias that is written out is read as the same");
    }
}

}  // namespace

void fuzz::feed(std::string_view input) {
    feedLine(input);

    static const world::TemporaryDirectory home;
    home.write(".zshrc", input);
    auto aliases = ShellAliases::claudeAliases(home.path(), startupFiles);
    require(aliases.empty() || Utf8::isValid(input), "a file that is not UTF-8 is skipped");
    if (aliases.empty()) {
        return;
    }
    require(lineOf(aliases.front()) >= 1 && lineOf(aliases.back()) <= lineCount(input),
            "an alias stands on a line of the file");
    require(std::ranges::adjacent_find(aliases, std::greater_equal(), lineOf) == aliases.end(),
            "each alias stands on a line after the one before it");
    std::string file;
    std::size_t lineNumber = 0;
    for (ShellAlias& alias : aliases) {
        require(alias.name.find("claude") != std::string::npos, "every alias is about claude");
        file += definitionOf(alias) + "\n";
        alias.definedAt = ".zshrc:" + std::to_string(++lineNumber);
    }
    home.write(".zshrc", file);
    require(ShellAliases::claudeAliases(home.path(), startupFiles) == aliases,
            "a file of the same definitions holds the same aliases");
}

}  // namespace brellin
