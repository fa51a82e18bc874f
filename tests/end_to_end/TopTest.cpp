#include "BrellinCore/platform/Descriptor.h"
#include "tests/world/Household.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>

namespace brellin {

namespace {

/// Somebody at a terminal, in which `havrick top` runs.
class Typist {
  public:
    explicit Typist(const Environment& environment) : terminal_(::posix_openpt(O_RDWR | O_NOCTTY)) {
        ::fcntl(terminal_.get(), F_SETFD, FD_CLOEXEC);
        ::grantpt(terminal_.get());
        ::unlockpt(terminal_.get());
        const std::string name = ::ptsname(terminal_.get());
        resize(24, 80);
        pid_ = ::fork();
        if (pid_ == 0) {
            run(name.c_str(), environment);
        }
    }
    Typist(const Typist&) = delete;
    Typist& operator=(const Typist&) = delete;
    ~Typist() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }

    /// A chroot may have none.
    static bool hasTerminals() { return Descriptor(::posix_openpt(O_RDWR | O_NOCTTY)).isOpen(); }
    void hangUp() { terminal_.close(); }
    void signal(int number) const { ::kill(pid_, number); }
    void resize(unsigned short rows, unsigned short columns) const {
        const winsize size{rows, columns, 0, 0};
        ::ioctl(terminal_.get(), TIOCSWINSZ, &size);
    }
    /// Types keys, then asks for the whole screen anew and reads until a text comes.
    bool sees(const std::string& text, const std::string& keys = "") {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        seen_.clear();
        EXPECT_TRUE(terminal_.writeAll(keys));
        while (seen_.find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > giveUp || !terminal_.writeAll("\f")) {
                ADD_FAILURE() << "never seen: " << text << "\nbut: " << seen_;
                return false;
            }
            readMore(200);
        }
        return true;
    }
    /// Reads to the end: what is written then, and the exit status.
    std::string end() {
        seen_.clear();
        while (terminal_.isOpen() && readMore(60'000)) {
        }
        int status = 0;
        EXPECT_GT(::waitpid(std::exchange(pid_, 0), &status, 0), 0);
        return fmt::format("{}exit {}", seen_, WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    }

  private:
    [[noreturn]] static void run(const char* terminal, const Environment& environment) {
        ::setsid();
        const Descriptor side(::open(terminal, O_RDWR));
        ::ioctl(side.get(), TIOCSCTTY, 0);
        for (const int stream : {0, 1, 2}) {
            ::dup2(side.get(), stream);
        }
        for (const char* name : {"TERM", "NO_COLOR", "LANG", "LC_ALL", "LC_CTYPE"}) {
            ::unsetenv(name);
        }
        for (const auto& [name, value] : environment) {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
        ::execl(HAVRICK_EXECUTABLE, "havrick", "top", "--every", "200ms", nullptr);
        ::_exit(127);
    }
    bool readMore(int milliseconds) {
        pollfd readable{terminal_.get(), POLLIN, 0};
        std::array<char, 4096> bytes{};
        const ssize_t count =
            ::poll(&readable, 1, milliseconds) == 1 ? ::read(terminal_.get(), bytes.data(), bytes.size()) : -1;
        seen_.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return count > 0;
    }

    Descriptor terminal_;
    pid_t pid_ = 0;
    std::string seen_;
};

class Top : public world::Household {
  protected:
    Typist at(const std::string& typeOfTerminal) {
        environment_["TERM"] = typeOfTerminal;
        return Typist(environment_);
    }
    Top() {
        declare("abc", reachable() + "'name':'n\u4E2D','cwd':'/w',");
        declare("def", "'name':'dead','pid':2147483646,'startedAt':1,");
        declare(".claude-lab", "ghi", alive() + "'name':'esc\\u001B','messagingSocketPath':'/t',");
    }
};

}  // namespace

TEST_F(Top, ObeysKeys) {
    if (!Typist::hasTerminals()) {
        return;
    }
    Typist typist = at("xterm");
    EXPECT_TRUE(typist.sees("2 alive, 1 stale · 2 accounts"));
    EXPECT_TRUE(typist.sees("esc\uFFFD")) << "alone, it would begin a command to the terminal";
    EXPECT_TRUE(typist.sees("by name", "s"));
    EXPECT_TRUE(typist.sees("havrick who def", "g\r")) << "dead, esc, n";
    EXPECT_TRUE(typist.sees("q quit", "\033"));
    EXPECT_TRUE(typist.sees("havrick who abc", "G\r"));
    EXPECT_TRUE(typist.sees("q quit", "q"));
    EXPECT_TRUE(typist.sees("\033]52;c;buS4rSBbNTljN2JhXQ==\a", "y")) << "the address, n\u4E2D [59c7ba]";
    EXPECT_TRUE(typist.sees("not copied", "ky"));
    EXPECT_TRUE(typist.sees("has no address", "\033OAy")) << "an arrow";
    EXPECT_TRUE(typist.sees("1 alive · 1 account", "/w\u4E2D\177")) << "sessions in /w";
    EXPECT_TRUE(typist.sees("/w  Esc clears", "\r"));
    EXPECT_TRUE(typist.sees("2 alive", "\033"));
    EXPECT_TRUE(typist.sees("account lab", "aa"));
    EXPECT_TRUE(typist.sees("2 alive", "a"));
    EXPECT_TRUE(typist.sees("clipboard", "?"));
    EXPECT_TRUE(typist.sees("q quit", "\033"));
    EXPECT_TRUE(typist.sees("havrick who abc", "G\r\033G\r"));
    declare("jkl", alive() + "'name':'a',");
    EXPECT_TRUE(typist.sees("3 alive", "\033"));
    EXPECT_TRUE(typist.sees("havrick who abc", "\r")) << "the selection stays with its session";
    typist.resize(5, 20);
    EXPECT_TRUE(typist.sees("q quit  ? help  / f", "\033"));
    EXPECT_TRUE(typist.sees("", "q"));
    const std::string end = typist.end();
    EXPECT_NE(end.find("\033[?1049l"), std::string::npos) << end;
    EXPECT_TRUE(end.ends_with("exit 0")) << end;
}

TEST_F(Top, GivesTheTerminalBackHoweverItEnds) {
    if (!Typist::hasTerminals()) {
        return;
    }
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        Typist typist = at("xterm");
        EXPECT_TRUE(typist.sees("2 alive"));
        typist.signal(number);
        const std::string end = typist.end();
        EXPECT_NE(end.find("\033[?1049l"), std::string::npos) << end;
        EXPECT_NE(end.find("\033[?25h"), std::string::npos) << "the cursor is shown\n" << end;
        EXPECT_TRUE(end.ends_with("exit 0")) << end;
    }
    Typist typist = at("vt100");
    EXPECT_TRUE(typist.sees("2 alive"));
    typist.hangUp();
    EXPECT_EQ(typist.end(), "exit 0");
}

TEST_F(Top, SaysWhatATerminalLacks) {
    EXPECT_EQ(tell("top"), "havrick: `havrick top` needs a terminal to draw on; `havrick list` does not\nexit 1\n");
    if (!Typist::hasTerminals()) {
        return;
    }
    for (const auto& [type, said] : {std::pair{"", "TERM is not set"},
                                     {"dumb", "cannot be drawn on"},
                                     {"n0ne", "is not in the terminfo database"}}) {
        const std::string end = at(type).end();
        EXPECT_TRUE(end.find(said) != std::string::npos && end.ends_with("\nexit 1")) << end;
    }
}

}  // namespace brellin
