#include "BrellinCLI/views/Table.h"

#include "BrellinCore/text/Utf8.h"

#include <utf8proc.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace brellin::cli {

namespace {

constexpr std::size_t gap = 2;          // between two columns
constexpr std::size_t leastWidth = 8;   // of a column that is cut
constexpr std::string_view mark = "…";  // one column wide

/// What a reader sees as one character, and how wide it is.
struct Cluster {
    std::string_view bytes;
    std::size_t width = 0;
};

std::vector<Cluster> clusters(std::string_view text) {
    std::vector<Cluster> found;
    utf8proc_int32_t state = 0;
    utf8proc_int32_t before = 0;
    for (std::size_t place = 0; place < text.size();) {
        utf8proc_int32_t character = 0;
        const auto left = static_cast<utf8proc_ssize_t>(text.size() - place);
        const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data() + place);
        const auto size = static_cast<std::size_t>(
            std::max<utf8proc_ssize_t>(1, ::utf8proc_iterate(bytes, left, &character)));
        if (found.empty() || ::utf8proc_grapheme_break_stateful(before, character, &state)) {
            found.push_back({text.substr(place, 0), 0});
        }
        Cluster& cluster = found.back();
        cluster.bytes = {cluster.bytes.data(), cluster.bytes.size() + size};
        const int width = character < 0 ? 1 : ::utf8proc_charwidth(character);
        cluster.width = std::max(cluster.width, static_cast<std::size_t>(std::max(0, width)));
        before = character;
        place += size;
    }
    return found;
}

/// A character of several without the further emoji, flag letters and skins, and what asks for another
/// form.
std::string simplified(std::string_view cluster) {
    constexpr utf8proc_int32_t joiner = 0x200D;
    constexpr utf8proc_int32_t emojiForm = 0xFE0F;
    std::string simple;
    for (std::size_t place = 0; place < cluster.size();) {
        utf8proc_int32_t character = 0;
        const auto left = static_cast<utf8proc_ssize_t>(cluster.size() - place);
        const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(cluster.data() + place);
        const auto size = static_cast<std::size_t>(
            std::max<utf8proc_ssize_t>(1, ::utf8proc_iterate(bytes, left, &character)));
        const bool isFlagOrSkin = (character >= 0x1F1E6 && character <= 0x1F1FF) ||
                                  (character >= 0x1F3FB && character <= 0x1F3FF);
        if (character == joiner || (isFlagOrSkin && place > 0)) {
            break;
        }
        simple.append(character == emojiForm ? "" : cluster.substr(place, size));
        place += size;
    }
    return simple;
}

/// As many whole characters as fit a width, from the left or from the right.
std::string fitting(std::vector<Cluster> characters, std::size_t width, bool fromRight) {
    if (fromRight) {
        std::ranges::reverse(characters);
    }
    std::string text;
    for (const Cluster& character : characters) {
        if (character.width > width) {
            break;
        }
        width -= character.width;
        text.insert(fromRight ? 0 : text.size(), character.bytes);
    }
    return text;
}

std::size_t sum(const std::vector<std::size_t>& widths) {
    std::size_t used = 0;
    for (const std::size_t width : widths) {
        used += width == 0 ? 0 : width + gap;
    }
    return used == 0 ? 0 : used - gap;
}

std::string padded(const std::string& text, std::size_t width, bool isRightAligned) {
    const std::string blanks(width - std::min(width, displayWidth(text)), ' ');
    return isRightAligned ? blanks + text : text + blanks;
}

std::string withoutBlanksAtEnd(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
    const auto characters = clusters(text);
    return std::accumulate(
        characters.begin(), characters.end(), std::size_t{0},
        [](std::size_t width, const Cluster& character) { return width + character.width; });
}

std::string cutEnd(std::string_view text, std::size_t width) {
    if (displayWidth(text) <= width) {
        return std::string(text);
    }
    return width == 0 ? "" : fitting(clusters(text), width - 1, false).append(mark);
}

std::string cutMiddle(std::string_view text, std::size_t width) {
    if (displayWidth(text) <= width) {
        return std::string(text);
    }
    if (width == 0) {
        return "";
    }
    const std::size_t right = (width - 1) / 2;
    std::string left = fitting(clusters(text), width - 1 - right, false);
    return left.append(mark).append(fitting(clusters(text), right, true));
}

std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
    std::vector<std::string> lines(1);
    std::size_t used = 0;
    for (const Cluster& character : clusters(text)) {
        if (used + character.width > width && used > 0) {
            lines.emplace_back();
            used = 0;
        }
        lines.back().append(character.bytes);
        used += character.width;
    }
    return lines;
}

std::string withSimpleCharacters(std::string_view text) {
    std::string simple;
    for (const Cluster& cluster : clusters(text)) {
        simple += simplified(cluster.bytes);
    }
    return simple;
}

void Table::add(std::vector<std::string> cells) {
    for (std::string& cell : cells) {
        cell = Utf8::printable(cell);
    }
    rows_.push_back(std::move(cells));
}

/// How wide each column is by itself; 0 for one in which nothing stands.
std::vector<std::size_t> Table::widths(bool hasTitles) const {
    std::vector<std::size_t> widths(columns_.size(), 0);
    for (const auto& row : rows_) {
        for (std::size_t column = 0; column < columns_.size(); ++column) {
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
    }
    for (std::size_t column = 0; column < columns_.size(); ++column) {
        if (hasTitles) {
            widths[column] = std::max(widths[column], displayWidth(columns_[column].title));
        }
    }
    return widths;
}

/// Makes the columns narrower that may be, the last one first, until all fit.
void Table::shrink(std::vector<std::size_t>& widths, std::size_t width, Fit fit) const {
    for (std::size_t column = columns_.size(); column-- > 0;) {
        const std::size_t used = sum(widths);
        if (columns_[column].fit != fit || used <= width) {
            continue;
        }
        const std::size_t surplus = std::min(used - width, widths[column]);
        const std::size_t least = std::min(leastWidth, widths[column]);
        widths[column] = fit == Fit::drop ? 0 : std::max(least, widths[column] - surplus);
    }
}

std::vector<std::size_t> Table::widthsWithin(std::optional<std::size_t> width, bool hasTitles) const {
    std::vector<std::size_t> widths = this->widths(hasTitles);
    if (!width) {
        return widths;
    }
    for (const Fit fit : {Fit::cutMiddle, Fit::cutEnd, Fit::drop}) {
        shrink(widths, *width, fit);
    }
    // What would be cut off at the edge is left out, but for the first two columns.
    for (std::size_t column = columns_.size(); column-- > 2 && sum(widths) > *width;) {
        widths[column] = 0;
    }
    return widths;
}

std::string Table::line(const std::vector<std::string>& cells,
                        const std::vector<std::size_t>& widths) const {
    std::string line;
    for (std::size_t column = 0; column < columns_.size(); ++column) {
        if (widths[column] == 0) {
            continue;
        }
        const Column& form = columns_[column];
        const std::string cell = form.fit == Fit::cutMiddle ? cutMiddle(cells[column], widths[column])
                                                            : cutEnd(cells[column], widths[column]);
        line += padded(cell, widths[column], form.isRightAligned) + std::string(gap, ' ');
    }
    return withoutBlanksAtEnd(std::move(line));
}

std::vector<std::string> Table::lines(std::optional<std::size_t> width, bool hasTitles) const {
    const std::vector<std::size_t> widths = widthsWithin(width, hasTitles);
    std::vector<std::string> lines;
    const auto add = [&](const std::vector<std::string>& cells) {
        const std::string text = line(cells, widths);
        lines.push_back(width ? cutEnd(text, *width) : text);
    };
    if (hasTitles) {
        std::vector<std::string> titles;
        std::ranges::transform(columns_, std::back_inserter(titles), &Column::title);
        add(titles);
    }
    std::ranges::for_each(rows_, add);
    return lines;
}

}  // namespace brellin::cli
