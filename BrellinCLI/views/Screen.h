#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brellin::cli {

/// A terminal that is drawn as a whole and read key by key, with ncurses. The terminal gets back what it
/// showed before when the object is destroyed. One object at a time.
class Screen {
  public:
    struct Row {
        std::string text;       ///< printable, without line feeds
        bool isMarked = false;  ///< bold
        bool isGone = false;    ///< dimmed
    };
    /// The header and the titles stay on top, the footer at the bottom; what does not fit is cut.
    struct Page {
        std::string header;
        std::string titles;  ///< may be empty
        std::vector<Row> rows;
        std::optional<std::size_t> selected;  ///< the row that is shown in reverse
        std::string footer;
    };
    enum class Key {
        character,
        up,
        down,
        pageUp,
        pageDown,
        first,
        last,
        enter,
        escape,
        erase,
        other,  ///< one that means nothing here, or a new size of the terminal
    };
    struct Input {
        Key key = Key::other;
        std::string character = {};  ///< UTF-8, for Key::character
    };

    /// @throws std::runtime_error there is no terminal, or none that can be drawn on; in words what to do
    Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;
    ~Screen();

    std::size_t width() const;
    /// How many rows of a page are seen at once.
    std::size_t height(bool hasTitles) const;

    /// Draws a page from a row on. That row is moved so that the selected one is seen, or the end of the
    /// page stays at the bottom.
    void show(const Page& page, std::size_t& firstRow) const;

    /// What was typed and not yet taken; nullopt when that is nothing.
    std::optional<Input> next();

    /// Asks the terminal to put a text on its clipboard (OSC 52), which some terminals refuse silently.
    void copy(std::string_view text);

  private:
    bool isUtf8_ = false;
};

}  // namespace brellin::cli
