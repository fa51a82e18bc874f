#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brellin::cli {

/// Text in columns, which fits a width.
class Table {
  public:
    /// What becomes of a column where the whole is too wide.
    enum class Fit {
        keep,       ///< it stays as it is
        cutMiddle,  ///< its longest texts lose their middle; these columns give way first
        cutEnd,     ///< its longest texts lose their end
        drop,       ///< it is left out; of several such columns the last one first
    };
    struct Column {
        std::string title;
        Fit fit = Fit::keep;
        bool isRightAligned = false;
    };

    explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

    /// @param cells one for each column; control characters and the like are made visible
    void add(std::vector<std::string> cells);

    /// One line for each row, the titles first unless they are not wanted.
    ///
    /// @param width in columns of a terminal, in which wide characters take two; nullopt where nothing is
    /// cut
    std::vector<std::string> lines(std::optional<std::size_t> width, bool hasTitles) const;

  private:
    std::vector<std::size_t> widths(bool hasTitles) const;
    std::vector<std::size_t> widthsWithin(std::optional<std::size_t> width, bool hasTitles) const;
    void shrink(std::vector<std::size_t>& widths, std::size_t width, Fit fit) const;
    std::string line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) const;

    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

/// How many columns of a terminal a text takes: wide characters two, combining ones none, an emoji of
/// several characters as many as its widest.
std::size_t displayWidth(std::string_view text);

/// The text with its end replaced by "…" where it is wider than that.
std::string cutEnd(std::string_view text, std::size_t width);

/// The same with its middle.
std::string cutMiddle(std::string_view text, std::size_t width);

/// A text in lines that are no wider than that, of whole characters.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

/// The text with emoji that are made of several reduced to their first, without what asks for another form
/// of one. Terminals and the C library disagree about how many columns those take.
std::string withSimpleCharacters(std::string_view text);

}  // namespace brellin::cli
