#include "BrellinCLI/views/Screen.h"

#include "BrellinCLI/views/Table.h"
#include "BrellinCore/platform/Base64.h"
#include "BrellinCore/platform/StandardOutput.h"
#include "BrellinCore/platform/Terminal.h"

#include <curses.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace brellin::cli {

namespace {

constexpr int waitAfterEscape = 25;  // milliseconds in which the rest of a key's sequence arrives

/// Text for the columns of ncurses, which are counted by the C library's locale.
bool takeUtf8Locale() {
    for (const char* name : {"", "C.UTF-8", "en_US.UTF-8"}) {
        wchar_t character = 0;
        if (std::setlocale(LC_CTYPE, name) != nullptr && std::mbtowc(&character, "\u4E2D", 3) == 3) {
            return true;
        }
    }
    return false;
}

SCREEN* openTerminal() {
    if (!Terminal::isInteractive()) {
        throw std::runtime_error("`havrick top` needs a terminal to draw on; `havrick list` does not");
    }
    const char* name = std::getenv("TERM");
    if (name == nullptr || *name == '\0') {
        throw std::runtime_error(
            "TERM is not set; set it to the terminal's type, for example xterm-256color");
    }
    SCREEN* const screen = ::newterm(name, stdout, stdin);
    if (screen == nullptr) {
        throw std::runtime_error(fmt::format(
            "the terminal type \"{}\" (TERM) is not in the terminfo database here; try TERM=xterm, or "
            "install it (on Debian: ncurses-base, ncurses-term)",
            name));
    }
    return screen;
}

SCREEN* terminal = nullptr;

void closeTerminal() {
    ::endwin();
    ::delscreen(std::exchange(terminal, nullptr));
}

/// Colours of the verdicts' signs, numbered from 1.
constexpr std::array<std::pair<std::string_view, short>, 3> signColours = {
    {{"●", COLOR_GREEN}, {"✕", COLOR_RED}, {"?", COLOR_YELLOW}}};

void prepareColours() {
    const char* noColour = std::getenv("NO_COLOR");
    const bool isUnwanted = noColour != nullptr && *noColour != '\0';
    if (isUnwanted || !::has_colors() || ::start_color() == ERR) {
        return;
    }
    ::use_default_colors();
    for (std::size_t place = 0; place < signColours.size(); ++place) {
        ::init_pair(static_cast<short>(place + 1), signColours.at(place).second, -1);
    }
}

short colourOf(std::string_view text) {
    for (std::size_t place = 0; place < signColours.size(); ++place) {
        if (text.starts_with(signColours.at(place).first)) {
            return static_cast<short>(place + 1);
        }
    }
    return 0;
}

/// How the lines of the terminal are given to the parts of a page, the rows first.
struct Layout {
    explicit Layout(bool wantsTitles)
        : hasHeader(LINES > 2), hasTitles(wantsTitles && LINES > 3), hasFooter(LINES > 1) {}

    int above() const { return (hasHeader ? 1 : 0) + (hasTitles ? 1 : 0); }
    int rows() const { return std::max(1, LINES - above() - (hasFooter ? 1 : 0)); }

    bool hasHeader;
    bool hasTitles;
    bool hasFooter;
};

/// The text where no locale knows UTF-8: this program's own signs by others, "?" for other characters.
std::string withoutUtf8(std::string_view text) {
    constexpr std::array<std::pair<std::string_view, char>, 4> substitutes = {
        {{"●", '*'}, {"✕", 'x'}, {"·", '-'}, {"…", '~'}}};
    std::string ascii;
    for (std::size_t place = 0; place < text.size(); ++place) {
        const auto byte = static_cast<unsigned char>(text[place]);
        const auto* sign = std::ranges::find_if(
            substitutes, [&](const auto& entry) { return text.substr(place).starts_with(entry.first); });
        if (sign != substitutes.end()) {
            ascii += sign->second;
        } else if (byte < 0x80 || byte >= 0xC0) {  // the first byte of a character
            ascii += byte < 0x80 ? text[place] : '?';
        }
    }
    return ascii;
}

}  // namespace

Screen::Screen() : isUtf8_(takeUtf8Locale()) {
    terminal = openTerminal();
    if (::tigetstr("cup") == nullptr) {
        closeTerminal();
        throw std::runtime_error(fmt::format(
            "the terminal type \"{}\" (TERM) cannot be drawn on; `havrick list --every 2s` can do without",
            std::getenv("TERM")));
    }
    ::cbreak();
    ::noecho();
    ::nonl();
    ::keypad(stdscr, TRUE);
    ::nodelay(stdscr, TRUE);
    ::set_escdelay(waitAfterEscape);
    ::curs_set(0);
    prepareColours();
}

Screen::~Screen() {
    closeTerminal();
}

std::size_t Screen::width() const {
    return static_cast<std::size_t>(std::max(1, COLS));
}

std::size_t Screen::height(bool hasTitles) const {
    return static_cast<std::size_t>(Layout(hasTitles).rows());
}

void Screen::show(const Page& page, std::size_t& firstRow) const {
    // A stopped process is not told that the terminal got another size.
    const Terminal::Size size = Terminal::size();
    if (size.rows > 0 && size.columns > 0 && ::is_term_resized(size.rows, size.columns)) {
        ::resizeterm(size.rows, size.columns);
    }
    const Layout layout(!page.titles.empty());
    const auto height = static_cast<std::size_t>(layout.rows());
    if (page.selected) {
        firstRow =
            std::clamp(firstRow, *page.selected - std::min(*page.selected, height - 1), *page.selected);
    }
    firstRow = std::min(firstRow, page.rows.size() - std::min(page.rows.size(), height));

    ::werase(stdscr);
    const auto draw = [&](int line, const std::string& text, attr_t look, short colour) {
        const std::string shown = cutEnd(withSimpleCharacters(text), width());
        mvwaddstr(stdscr, line, 0, (isUtf8_ ? shown : withoutUtf8(shown)).c_str());
        mvwchgat(stdscr, line, 0, -1, look, 0, nullptr);
        if (colour != 0) {
            mvwchgat(stdscr, line, 0, 1, look, colour, nullptr);
        }
    };
    int line = 0;
    if (layout.hasHeader) {
        draw(line++, page.header, A_BOLD, 0);
    }
    if (layout.hasTitles) {
        draw(line++, page.titles, A_UNDERLINE, 0);
    }
    for (std::size_t place = firstRow; place < std::min(page.rows.size(), firstRow + height); ++place) {
        const Row& row = page.rows[place];
        const attr_t look = (row.isMarked ? A_BOLD : A_NORMAL) | (row.isGone ? A_DIM : A_NORMAL) |
                            (page.selected == place ? A_REVERSE : A_NORMAL);
        draw(line++, row.text, look, row.isGone ? short{0} : colourOf(row.text));
    }
    if (layout.hasFooter) {
        draw(LINES - 1, page.footer, A_NORMAL, 0);
    }
    ::wrefresh(stdscr);
}

std::optional<Screen::Input> Screen::next() {
    constexpr std::array<std::pair<wint_t, Key>, 10> functionKeys = {{{KEY_UP, Key::up},
                                                                      {KEY_DOWN, Key::down},
                                                                      {KEY_PPAGE, Key::pageUp},
                                                                      {KEY_NPAGE, Key::pageDown},
                                                                      {KEY_HOME, Key::first},
                                                                      {KEY_END, Key::last},
                                                                      {KEY_ENTER, Key::enter},
                                                                      {KEY_BACKSPACE, Key::erase},
                                                                      {KEY_FIND, Key::first},
                                                                      {KEY_SELECT, Key::last}}};
    constexpr std::array<std::pair<wint_t, Key>, 5> controlKeys = {{{'\r', Key::enter},
                                                                    {'\n', Key::enter},
                                                                    {'\033', Key::escape},
                                                                    {'\b', Key::erase},
                                                                    {'\177', Key::erase}}};
    const auto keyIn = [](const auto& keys, wint_t code) {
        const auto* found = std::ranges::find(keys, code, [](const auto& entry) { return entry.first; });
        return found == keys.end() ? Key::other : found->second;
    };
    wint_t code = 0;
    const int kind = ::wget_wch(stdscr, &code);
    if (kind == ERR) {
        return std::nullopt;
    }
    if (kind == KEY_CODE_YES) {
        return Input{keyIn(functionKeys, code)};
    }
    if (code == '\f') {
        ::clearok(curscr, TRUE);  // the next page is drawn anew, whatever else wrote to the terminal
    }
    if (code < ' ' || code == '\177') {
        return Input{keyIn(controlKeys, code)};
    }
    std::array<char, MB_LEN_MAX> bytes{};
    const int size = std::wctomb(bytes.data(), static_cast<wchar_t>(code));
    return size < 1 ? Input{}
                    : Input{Key::character, std::string(bytes.data(), static_cast<std::size_t>(size))};
}

void Screen::copy(std::string_view text) {
    StandardOutput::write(fmt::format("\033]52;c;{}\a", base64(text)));
}

}  // namespace brellin::cli
