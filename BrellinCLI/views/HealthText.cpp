#include "BrellinCLI/views/HealthText.h"

#include "BrellinCLI/views/Table.h"
#include "BrellinCore/text/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace brellin::cli::HealthText {

namespace {

using Level = Finding::Level;

std::string_view sign(Level level) {
    switch (level) {
        case Level::ok:
            return "✓ ";
        case Level::warning:
            return "! ";
        case Level::error:
            return "✕ ";
    }
    return "";
}

/// Takes the next word off a text: up to a space that is not within a command.
std::string_view takeWord(std::string_view& text) {
    bool isCommand = false;
    std::size_t end = 0;
    for (; end < text.size() && (isCommand || text[end] != ' '); ++end) {
        isCommand = isCommand != (text[end] == '`');
    }
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return word;
}

/// The text in lines that fit the width where words do; `first` begins the first line, and the others begin
/// below its end.
void addBroken(const std::string& first, const std::string& finding,
               const std::optional<std::size_t>& width, std::vector<std::string>& lines) {
    const std::string text = Utf8::printable(finding);
    const std::size_t indent = displayWidth(first);
    std::string line = first;
    bool isEmpty = true;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view word = takeWord(rest);
        if (width && !isEmpty && displayWidth(line) + 1 + displayWidth(word) > *width) {
            lines.push_back(std::exchange(line, std::string(indent, ' ')));
            isEmpty = true;
        }
        line.append(isEmpty ? "" : " ").append(word);
        isEmpty = false;
    }
    lines.push_back(std::move(line));
}

std::string sum(const std::vector<Finding>& findings) {
    const auto errors = std::ranges::count(findings, Level::error, &Finding::level);
    const auto warnings = std::ranges::count(findings, Level::warning, &Finding::level);
    if (errors == 0 && warnings == 0) {
        return "nothing is wrong";
    }
    return fmt::format("{} wrong (✕), {} worth a look (!)", errors, warnings);
}

}  // namespace

std::vector<std::string> lines(const Health& health, const std::optional<std::size_t>& width) {
    constexpr std::string_view longestTopic = "directory";
    std::vector<std::string> lines;
    std::string_view topic;
    for (const Finding& finding : health.findings) {
        const bool isFirst = std::exchange(topic, finding.topic) != finding.topic;
        const std::string column = fmt::format("{:{}}  ", isFirst ? topic : "", longestTopic.size());
        addBroken(std::string(sign(finding.level)) + column, finding.text, width, lines);
        if (!finding.advice.empty()) {
            addBroken(fmt::format("  {:{}}→ ", "", column.size()), finding.advice, width, lines);
        }
    }
    lines.push_back(sum(health.findings));
    return lines;
}

}  // namespace brellin::cli::HealthText
