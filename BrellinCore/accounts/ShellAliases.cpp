#include "BrellinCore/accounts/ShellAliases.h"

#include "BrellinCore/platform/FilePath.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/text/Split.h"
#include "BrellinCore/text/Utf8.h"

#include <fmt/format.h>

#include <utility>

namespace brellin::ShellAliases {

namespace {

constexpr std::string_view keyword = "alias ";

std::string_view trimmedOfSpacesAndTabs(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view withoutQuotes(std::string_view value, char quote) {
    const bool isQuoted = value.size() >= 2 && value.front() == quote && value.back() == quote;
    return isQuoted ? value.substr(1, value.size() - 2) : value;
}

/// The text up to the next line feed, taken off the front of `rest`. A line feed after a carriage return
/// does not count: the pair is one character to a reader, and that character is no line feed.
std::string_view takeLine(std::string_view& rest) {
    std::size_t end = rest.find('\n');
    while (end != std::string_view::npos && end > 0 && rest[end - 1] == '\r') {
        end = rest.find('\n', end + 1);
    }
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return line;
}

void collect(std::string_view file, std::string_view text, std::vector<ShellAlias>& aliases) {
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::string_view line = Utf8::trimmedOfBlanks(takeLine(text));
        if (!line.starts_with(keyword)) {
            continue;
        }
        auto alias = parse(line, fmt::format("{}:{}", file, number));
        if (alias && alias->name.find("claude") != std::string::npos) {
            aliases.push_back(std::move(*alias));
        }
    }
}

}  // namespace

std::vector<ShellAlias> claudeAliases(const std::string& home, std::span<const std::string_view> rcFiles) {
    std::vector<ShellAlias> aliases;
    for (const std::string_view file : rcFiles) {
        const auto text = FileSystem::readFile(fmt::format("{}/{}", home, file));
        if (text && Utf8::isValid(*text)) {
            collect(file, *text, aliases);
        }
    }
    return aliases;
}

std::optional<ShellAlias> parse(std::string_view line, std::string definedAt) {
    const std::string_view body = line.substr(Utf8::prefix(line, keyword.size()).size());
    const std::size_t equals = body.find('=');
    if (equals == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view name = trimmedOfSpacesAndTabs(body.substr(0, equals));
    if (name.empty()) {
        return std::nullopt;
    }
    ShellAlias alias{std::string(name), std::move(definedAt), std::nullopt, {}};

    std::string_view value = trimmedOfSpacesAndTabs(body.substr(equals + 1));
    value = withoutQuotes(withoutQuotes(value, '\''), '"');
    constexpr std::string_view assignment = "CLAUDE_CONFIG_DIR=";
    bool commandSeen = false;
    for (const std::string_view word : splitDroppingEmpty(value, " ")) {
        if (word.starts_with(assignment)) {
            alias.configDir = word.substr(assignment.size());
        } else if (!commandSeen && FilePath::lastComponent(word) == "claude") {
            commandSeen = true;
        } else {
            alias.extraFlags.emplace_back(word);
        }
    }
    return alias;
}

}  // namespace brellin::ShellAliases
