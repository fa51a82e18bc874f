#include "BrellinCLI/commands/TopCommand.h"

#include "BrellinCLI/Interrupted.h"
#include "BrellinCLI/facts/SessionChanges.h"
#include "BrellinCLI/views/Screen.h"
#include "BrellinCLI/views/SessionTable.h"
#include "BrellinCLI/views/Table.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/platform/Terminal.h"
#include "BrellinCore/server/MCPServer.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Utf8.h"

#include <boost/json/object.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace brellin::cli::TopCommand {

namespace {

using std::chrono::milliseconds;
using Key = Screen::Key;
using SteadyClock = std::chrono::steady_clock;
using Sessions = std::vector<const JudgedSession*>;

constexpr milliseconds shortestPause{100};
constexpr milliseconds markedFor{6000};  // how long a change is shown
constexpr int mostEmptyReads = 10;       // after which there is no terminal any more

constexpr std::string_view keysInShort =
    "q quit  ? help  / filter  s sort  a account  Enter who  y copy address";

constexpr std::string_view help =
    "up, down, k, j   one session up or down\n"
    "PgUp, PgDn       one page up or down\n"
    "Home, End, g, G  the first or the last session\n"
    "/                filter by name, id, account and directory;\n"
    "                 Enter keeps the filter, Esc clears it\n"
    "s                the next sort order\n"
    "a                the next account, then all again\n"
    "Enter            what is known about the session\n"
    "y                copy the session's address to the clipboard\n"
    "?                this text\n"
    "Ctrl-L           draw the screen anew\n"
    "Esc, q           back to the sessions; q there ends\n"
    "\n"
    "Bold: came or changed in the last seconds. Dimmed: just left.";

std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return text;
}

/// A list of sessions, or a text about one, and the keys that act on them.
class Top {
  public:
    explicit Top(milliseconds every) : every_(std::max(every, shortestPause)) {}

    void run() {
        while (!stop_.hasArrived() && !isDone_) {
            if (SteadyClock::now() >= nextLook_) {
                look();
            }
            show();
            const auto pause = std::chrono::ceil<milliseconds>(nextLook_ - SteadyClock::now());
            takeInput(Terminal::hasInputWithin(pause, stop_));
        }
    }

  private:
    /// A text in place of the list.
    struct Text {
        std::string title;
        std::string content;
        std::size_t firstRow = 0;
    };

    void look() {
        now_ = SessionsNow::take(&stop_);
        changes_.note(now_, SteadyClock::now());
        notice_ = now_.failure.value_or("");
        nextLook_ = SteadyClock::now() + every_;
        if (account_ &&
            std::ranges::find(now_.accounts, *account_, &ClaudeAccount::path) == now_.accounts.end()) {
            account_.reset();
        }
        update();
    }

    bool isWanted(const JudgedSession& session) const {
        const SessionRecord& record = session.record;
        if (account_ && record.accountPath != *account_) {
            return false;
        }
        const std::string wanted = lowerCase(filter_);
        const std::array<std::string, 4> texts = {record.name.value_or(""), record.sessionId,
                                                  std::string(now_.accountLabel(record.accountPath)),
                                                  record.cwd.value_or("")};
        return std::ranges::any_of(texts, [&](const std::string& text) {
            return lowerCase(text).find(wanted) != std::string::npos;
        });
    }

    void addWanted(const std::vector<JudgedSession>& sessions) {
        for (const JudgedSession& session : sessions) {
            if (isWanted(session)) {
                shown_.push_back(&session);
            }
        }
    }

    /// Picks and sorts what is shown. The selection stays with its session; where that is gone, in its
    /// place.
    void update() {
        shown_.clear();
        addWanted(now_.sessions);
        addWanted(changes_.left());
        SessionTable::sort(shown_, order(), now_);
        const auto found = std::ranges::find(shown_, selectedKey_, [](const JudgedSession* session) {
            return SessionChanges::keyOf(*session);
        });
        select(found == shown_.end() ? selected_ : static_cast<std::size_t>(found - shown_.begin()));
    }

    void select(std::size_t place) {
        selected_ = std::min(place, shown_.empty() ? 0 : shown_.size() - 1);
        if (!shown_.empty()) {
            selectedKey_ = SessionChanges::keyOf(*shown_[selected_]);
        }
    }

    SessionTable::Order order() const {
        return *SessionTable::orderFromName(SessionTable::orderNames().at(orderPlace_));
    }

    void show() {
        if (text_) {
            screen_.show(textPage(), text_->firstRow);
        } else {
            screen_.show(listPage(), firstRow_);
        }
    }

    Screen::Page textPage() const {
        Screen::Page page{.header = text_->title, .footer = "Esc back  arrows, PgUp, PgDn scroll"};
        std::size_t start = 0;
        while (start <= text_->content.size()) {
            const std::size_t end = std::min(text_->content.find('\n', start), text_->content.size());
            const std::string line = Utf8::printable(text_->content.substr(start, end - start));
            for (std::string& piece : wrapped(line, screen_.width())) {
                page.rows.push_back({.text = std::move(piece)});
            }
            start = end + 1;
        }
        return page;
    }

    Screen::Page listPage() const {
        const std::int64_t time = Clock::now();
        const auto lines = SessionTable::lines(shown_, now_, {.width = screen_.width(), .now = time});
        Screen::Page page{.header = header(time), .titles = lines.front(), .footer = footer()};
        const auto markedSince = SteadyClock::now() - markedFor;
        for (std::size_t place = 0; place < shown_.size(); ++place) {
            const JudgedSession* session = shown_[place];
            const bool isGone = std::ranges::any_of(
                changes_.left(), [&](const JudgedSession& gone) { return &gone == session; });
            page.rows.push_back({.text = lines.at(place + 1),
                                 .isMarked = !isGone && changes_.changedAt(*session) > markedSince,
                                 .isGone = isGone});
        }
        if (!shown_.empty()) {
            page.selected = selected_;
        }
        return page;
    }

    std::string header(std::int64_t time) const {
        std::string text = fmt::format("{} · {} · by {}", SessionTable::sums(shown_),
                                       DateText::timestampLocal(time).substr(11, 8),
                                       SessionTable::orderNames().at(orderPlace_));
        if (account_) {
            text += fmt::format(" · account {}", Utf8::printable(now_.accountLabel(*account_)));
        }
        return filter_.empty() ? text : fmt::format("{} · filter {}", text, filter_);
    }

    std::string footer() const {
        if (isTyping_) {
            return fmt::format("/{}_", filter_);
        }
        if (!notice_.empty()) {
            return notice_;
        }
        return filter_.empty() ? std::string(keysInShort)
                               : fmt::format("/{}  Esc clears  {}", filter_, keysInShort);
    }

    /// @param isReadable the terminal has something to say; nothing, again and again, when it is gone
    void takeInput(bool isReadable) {
        bool hasInput = false;
        while (const auto input = screen_.next()) {
            hasInput = true;
            obey(*input);
        }
        emptyReads_ = isReadable && !hasInput ? emptyReads_ + 1 : 0;
        isDone_ = isDone_ || emptyReads_ > mostEmptyReads;
    }

    void obey(const Screen::Input& input) {
        const Screen::Input command = isTyping_ ? input : withName(input);
        if (text_) {
            obeyInText(command);
        } else if (isTyping_ && (command.key == Key::character || command.key == Key::erase)) {
            changeFilter(command);
        } else {
            obeyInList(command);
        }
    }

    /// Letters that mean the same as keys with a name.
    static Screen::Input withName(const Screen::Input& input) {
        constexpr std::array<std::pair<std::string_view, Key>, 4> names = {
            {{"k", Key::up}, {"j", Key::down}, {"g", Key::first}, {"G", Key::last}}};
        const auto* found = std::ranges::find(names, input.character, &decltype(names)::value_type::first);
        return found == names.end() ? input : Screen::Input{found->second};
    }

    static std::size_t moved(std::size_t place, Key key, std::size_t page, std::size_t last) {
        switch (key) {
            case Key::up:
                return place - std::min<std::size_t>(place, 1);
            case Key::down:
                return std::min(place + 1, last);
            case Key::pageUp:
                return place - std::min(place, page);
            case Key::pageDown:
                return std::min(place + page, last);
            case Key::first:
                return 0;
            case Key::last:
                return last;
            default:
                return place;
        }
    }

    void obeyInText(const Screen::Input& input) {
        if (input.key == Key::escape || input.character == "q") {
            text_.reset();
            return;
        }
        text_->firstRow = moved(text_->firstRow, input.key, screen_.height(false), textPage().rows.size());
        screen_.show(textPage(), text_->firstRow);  // which keeps the end of the text at the bottom
    }

    void obeyInList(const Screen::Input& input) {
        if (!shown_.empty()) {
            select(moved(selected_, input.key, screen_.height(true), shown_.size() - 1));
        }
        if (input.key == Key::escape) {
            isTyping_ = false;
            filter_.clear();
            update();
        } else if (input.key == Key::enter && isTyping_) {
            isTyping_ = false;
        } else if (input.key == Key::enter) {
            showWho();
        } else if (input.key == Key::character) {
            obeyLetter(input.character);
        }
    }

    void obeyLetter(const std::string& letter) {
        notice_.clear();
        if (letter == "q") {
            isDone_ = true;
        } else if (letter == "/") {
            isTyping_ = true;
        } else if (letter == "s") {
            orderPlace_ = (orderPlace_ + 1) % SessionTable::orderNames().size();
            update();
        } else if (letter == "a") {
            takeNextAccount();
        } else if (letter == "y") {
            copyAddress();
        } else if (letter == "?") {
            text_ = Text{.title = "havrick top: keys", .content = std::string(help)};
        }
    }

    void changeFilter(const Screen::Input& input) {
        if (input.key == Key::character) {
            filter_ += input.character;
        } else {
            while (!filter_.empty() && (static_cast<unsigned char>(filter_.back()) & 0xC0U) == 0x80U) {
                filter_.pop_back();
            }
            filter_.resize(filter_.size() - std::min<std::size_t>(filter_.size(), 1));
        }
        update();
    }

    void takeNextAccount() {
        auto next = now_.accounts.begin();
        if (account_) {
            next = std::ranges::find(now_.accounts, *account_, &ClaudeAccount::path);
            next += next == now_.accounts.end() ? 0 : 1;
        }
        account_ = next == now_.accounts.end() ? std::nullopt : std::optional(next->path);
        update();
    }

    void showWho() {
        if (shown_.empty()) {
            return;
        }
        const std::string id = shown_[selected_]->record.sessionId;
        text_ = Text{.title = "havrick who " + Utf8::printable(id),
                     .content = MCPServer().callTool("havrick_who", {{"sessionId", id}}).text};
    }

    void copyAddress() {
        if (shown_.empty()) {
            return;
        }
        const auto address = shown_[selected_]->record.peerAddress();
        if (!address) {
            notice_ = "this session has no address";
        } else if (Utf8::printable(*address) != *address) {
            // Pasted into a shell, it could run a command.
            notice_ = "not copied: the name holds control characters";
        } else {
            screen_.copy(*address);
            notice_ = fmt::format("copied, if the terminal allows it: {}", *address);
        }
    }

    const milliseconds every_;
    // Before the screen: ncurses leaves signals alone that somebody handles.
    const StopRequest stop_{StopRequest::AtHangUp::stop};
    Screen screen_;
    SteadyClock::time_point nextLook_ = SteadyClock::time_point::min();
    SessionsNow now_;
    SessionChanges changes_;
    Sessions shown_;  ///< of now_ and changes_
    std::string filter_;
    std::optional<std::string> account_;  ///< the path of the only one that is shown
    std::size_t orderPlace_ = 0;
    std::size_t selected_ = 0;
    std::string selectedKey_;
    std::size_t firstRow_ = 0;
    std::optional<Text> text_;
    std::string notice_;
    bool isTyping_ = false;
    bool isDone_ = false;
    int emptyReads_ = 0;
};

}  // namespace

ExitStatus top(milliseconds every) {
    try {
        Top(every).run();
    } catch (const Interrupted&) {
        return ExitStatus::success;
    }
    return ExitStatus::success;
}

}  // namespace brellin::cli::TopCommand
