#include "BrellinCore/platform/ChildProcess.h"
#include "BrellinCore/platform/Directory.h"
#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/platform/FileLock.h"
#include "BrellinCore/platform/FilePath.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/platform/HomeDirectory.h"
#include "BrellinCore/platform/Permissions.h"
#include "BrellinCore/platform/Pipe.h"
#include "BrellinCore/platform/ProcessSetup.h"
#include "BrellinCore/platform/ProcessTable.h"
#include "BrellinCore/platform/StopRequest.h"
#include "BrellinCore/server/Paths.h"
#include "tests/world/FailingCall.h"
#include "tests/world/TemporaryDirectory.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <thread>

extern char** environ;  // NOLINT: macOS leaves the declaration to the program

namespace brellin {

namespace fs = std::filesystem;
using ChildProcess::Result;
using ChildProcess::run;
using world::TemporaryDirectory;
using namespace std::chrono_literals;

TEST(FileSystem, ReadsRegularFilesWholeAndNothingElse) {
    const TemporaryDirectory directory;
    const std::string content = std::string("a\0b", 3) + std::string(100000, 'x');
    EXPECT_EQ(FileSystem::readFile(directory.write("file", content)), content);
    EXPECT_EQ(FileSystem::readFile(directory.write("empty", "")), "");
    fs::resize_file(directory.write("largest", ""), 64U << 20U);
    EXPECT_EQ(FileSystem::readFile(directory / "largest").value().size(), 64U << 20U);
#ifdef __linux__
    // Such a file says that it has no bytes, and has some.
    EXPECT_NE(FileSystem::readFile("/proc/self/status").value_or("").find("Name:"), std::string::npos);
#endif

    ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);
    fs::create_symlink("nowhere", directory / "dangling");
    fs::create_symlink("loop", directory / "loop");
    fs::resize_file(directory.write("huge", ""), (64U << 20U) + 1);
    sockaddr_un address{.sun_family = AF_UNIX};
    fmt::format_to(address.sun_path, "{}", directory / "socket");
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    // A NUL must not cut a path short.
    for (const std::string& path : {directory / "fifo", directory / "dangling", directory / "loop", directory / "huge",
                                    directory / "socket", directory / "missing", directory.path(),
                                    directory / "file" + std::string("\0.json", 6), std::string("/dev/zero")}) {
        EXPECT_EQ(FileSystem::readFile(path), std::nullopt) << path;
        EXPECT_EQ(FileSystem::openFile(path).has_value(), path.ends_with("huge")) << path << ", whatever its size";
    }

    fs::create_symlink("file", directory / "link");
    fs::resize_file(directory.write("filling the buffer", ""), 16U << 10U);
    auto listed = Directory::open(directory.path()).value();
    EXPECT_EQ(listed.entries().size(), 10U);
    for (const Directory::Entry& entry : listed.entries()) {
        EXPECT_TRUE(listed.read(entry) == FileSystem::readFile(directory / entry.name)) << entry.name;
    }
    // It has come in the place of a regular file, and someone may yet write to it.
    const Descriptor writer(::open((directory / "fifo").c_str(), O_RDWR | O_CLOEXEC));
    EXPECT_EQ(listed.read({"fifo", true}), std::nullopt);
}

TEST(FileSystem, TellsWhatIsMissingFromWhatCannotBeTold) {
    const TemporaryDirectory directory;
    fs::create_symlink("nowhere", directory / "dangling");
    directory.write("file", "");
    for (const std::string& there : {std::string("file"), std::string("dangling"), std::string(5000, 'x')}) {
        EXPECT_FALSE(FileSystem::isMissing(directory / there)) << there;
    }
    for (const std::string& none :
         {std::string("none"), std::string("none/x"), std::string("file/x"), std::string("file\0", 5)}) {
        EXPECT_TRUE(FileSystem::isMissing(directory / none)) << none;
    }
}

TEST(FileSystem, ReplacesTheFileAtTheEndOfLinksAndLoosensNoMode) {
    const TemporaryDirectory directory;
    directory.makeDirectory("d/e");
    fs::create_symlink("d/second", directory / "first");
    fs::create_symlink("e/end", directory / "d/second");
    fs::create_symlink(directory / "d/new", directory / "dangling");
    fs::create_symlink("loop", directory / "loop");
    // What is written, where that ends up, the umask, the mode of the file before (0: none), and its mode afterwards.
    const std::tuple<const char*, const char*, mode_t, unsigned, unsigned> cases[] = {
        {"plain", "plain", 022, 0, 0644},    {"plain", "plain", 077, 0644, 0600}, {"plain", "plain", 022, 0755, 0644},
        {"plain", "plain", 022, 0400, 0400}, {"first", "d/e/end", 022, 0, 0644},  {"first", "d/e/end", 022, 0600, 0600},
        {"dangling", "d/new", 022, 0, 0644}};
    for (const auto& [name, end, mask, before, after] : cases) {
        if (before != 0) {
            fs::permissions(directory / end, fs::perms{before});
        }
        const mode_t inherited = ::umask(mask);
        FileSystem::writeFileAtomically(directory / name, std::to_string(before));
        ::umask(inherited);
        EXPECT_EQ(directory.read(end), std::to_string(before)) << name;
        EXPECT_EQ(fs::status(directory / end).permissions(), fs::perms{after}) << name << before;
    }
    for (const char* link : {"first", "d/second", "dangling"}) {
        EXPECT_TRUE(fs::is_symlink(directory / link)) << link;
    }
    EXPECT_THROW(FileSystem::writeFileAtomically(directory / "loop", ""), std::system_error);
    EXPECT_THROW(FileSystem::writeFileAtomically(directory / "x" + std::string(1, '\0'), ""), std::system_error);
}

TEST(Permissions, AreSeenAndTakenFromOthers) {
    const TemporaryDirectory directory;
    fs::create_symlink("file", directory / "link");
    ProcessSetup::prepare();
    EXPECT_EQ(Permissions::of(directory.write("file", "")), (Permissions::Access{true, false, false})) << "no others'";
    // The mode of a file or directory, what others can do with it, and its mode once it is private.
    const std::tuple<bool, unsigned, bool, bool, unsigned> cases[] = {
        {false, 0644, true, false, 0600}, {false, 0604, true, false, 0600},  {false, 0620, false, true, 0600},
        {false, 0402, false, true, 0400}, {false, 0711, false, false, 0700}, {true, 0711, true, false, 0700},
        {true, 01770, true, true, 01700}};
    for (const auto& [isDirectory, mode, canRead, canWrite, own] : cases) {
        const std::string path = isDirectory ? directory.makeDirectory("d") : directory / "file";
        fs::permissions(path, fs::perms{mode});
        EXPECT_FALSE(Permissions::makePrivate(directory / "link"));
        for (const std::string& name : {path, isDirectory ? path : directory / "link"}) {
            EXPECT_EQ(Permissions::of(name), (Permissions::Access{true, canRead, canWrite})) << name << mode;
        }
        EXPECT_TRUE(Permissions::makePrivate(path));
        EXPECT_EQ(fs::status(path).permissions(), fs::perms{own}) << mode;
    }
    EXPECT_EQ(Permissions::of(directory / "none"), std::nullopt);
    EXPECT_FALSE(Permissions::makePrivate(directory / "none"));
    struct stat root {};
    ASSERT_EQ(::stat("/", &root), 0);
    EXPECT_EQ(Permissions::of("/").value().isOurs, root.st_uid == ::geteuid());
}

TEST(ChildProcess, ReportsOutputAndExitStatus) {
    EXPECT_EQ(run("/bin/echo", {"a b", "$HOME"}), (Result{0, "a b $HOME\n"}));
    EXPECT_EQ(run("/bin/sh", {"-c", "test /dev/fd/2 -ef /dev/null && exit 3"}), (Result{3, ""})) << "errors are lost";
    EXPECT_EQ(run("/bin/sh", {"-c", "kill -9 $$"}), (Result{std::nullopt, ""}));
    EXPECT_EQ(run("/no/such/program", {}), std::nullopt);
    EXPECT_EQ(run("/usr/bin/head", {"-c", "1000000", "/dev/zero"}).value().output.size(), 1000000U)
        << "more than a pipe holds must not block";
#ifdef __linux__
    for (const char* function : {"read", "waitpid"}) {
        world::failNext(function, EINTR);
        EXPECT_EQ(run("/bin/echo", {"all"}), (Result{0, "all\n"})) << function;
    }
#endif
}

TEST(ChildProcess, HandsDownNoDescriptorNoGroupAndDefaultSignals) {
    const TemporaryDirectory directory;
    for (const bool isOldKernel : {false, true}) {
        const Descriptor inherited(::open("/dev/null", O_RDONLY));  // NOLINT(android-cloexec-open): as a host does
#ifdef __linux__
        world::failNext(isOldKernel ? "close_range" : "", ENOSYS);
#endif
        ProcessSetup::prepare();
        const FileLock lock(directory / "lock", FileLock::Contention::refuse);
        EXPECT_EQ(run("/bin/sh", {"-c", "echo /dev/fd/*"})->output, "/dev/fd/0 /dev/fd/1 /dev/fd/2 /dev/fd/3\n")
            << "the last is the directory itself; " << isOldKernel;
    }
    EXPECT_NE(std::stoi(run("/bin/sh", {"-c", "/bin/ps -o pgid= -p $$"})->output), ::getpgrp());
    // With SIGPIPE ignored, `yes` would complain about its closed pipe and go on to exit 1.
    EXPECT_EQ(run("/bin/bash", {"-c", "yes | head -1; echo ${PIPESTATUS[0]}"})->output, "y\n141\n");
}

TEST(ChildProcess, WorksWithoutStandardStreams) {
    const Descriptor keptOutput(::dup(STDOUT_FILENO));
    const Descriptor keptErrors(::dup(STDERR_FILENO));
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    const auto result = run("/bin/echo", {"heard"});
    ProcessSetup::prepare();
    const bool areOpened = ::fcntl(STDOUT_FILENO, F_GETFD) >= 0 && ::fcntl(STDERR_FILENO, F_GETFD) >= 0;
    ::dup2(keptOutput.get(), STDOUT_FILENO);
    ::dup2(keptErrors.get(), STDERR_FILENO);
    EXPECT_EQ(result, (Result{0, "heard\n"}));
    EXPECT_TRUE(areOpened);
}

TEST(ChildProcess, EndsASupervisedChildAtItsLimitWithItsGroup) {
    using ChildProcess::Ending;
    const TemporaryDirectory directory;
    ASSERT_EQ(::mkfifo((directory / "held").c_str(), 0600), 0);
    const Descriptor held(::open((directory / "held").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    constexpr auto ample = 100s;
    // What the shell does, in which time, whether a stop has arrived before, and how that ends.
    const std::tuple<std::string, std::chrono::milliseconds, bool, Ending, Result> cases[] = {
        {"echo a; exit 3", ample, false, Ending::exited, {3, "a\n"}},
        {"echo a; exit 3", ample, true, Ending::exited, {3, "a\n"}},
        {"echo a >&2; echo $A$B$LC_ALL", ample, false, Ending::exited, {0, "12C\n"}},
        {"echo a; exec sleep 200", 200ms, false, Ending::timedOut, {{}, "a\n"}},
        {"echo a; exec >&-; sleep 200", 200ms, false, Ending::timedOut, {{}, "a\n"}},
        {"echo a; sleep 200 3> held &", 200ms, false, Ending::timedOut, {{}, "a\n"}},
        {"kill -TERM $PPID; exec sleep 200", ample, false, Ending::stopped, {}},
        {"kill -TERM $PPID; exec >&-; sleep 200", ample, false, Ending::stopped, {}},
        {"kill -TERM $PPID; echo a", ample, false, Ending::exited, {0, "a\n"}},
        {"echo >> again; kill -INT $$", ample, false, Ending::signalled, {}},
        {"test -e once && echo b && exit; echo > once; kill -TERM $$", ample, false, Ending::exited, {0, "b\n"}},
        {"echo >> never; kill -TERM $PPID $$", ample, false, Ending::stopped, {}}};
    ::setenv("A", "1", 1);
    ::setenv("LC_ALL", "POSIX", 1);
    for (const auto& [script, limit, stopArrived, ending, result] : cases) {
        const StopRequest stop;
        EXPECT_EQ(stopArrived ? std::raise(SIGTERM) : 0, 0);
        const auto ended = ChildProcess::supervise("/bin/sh", {"-c", "cd " + directory.path() + "; " + script},
                                                   {limit, &stop, {{"B", "2"}, {"LC_ALL", "C"}}});
        EXPECT_EQ(ended, (ChildProcess::SupervisedResult{ending, result})) << script;
    }
    EXPECT_EQ(directory.read("again") + "-" + directory.read("never"), "\n\n-\n") << "once more, but not after a stop";
    pollfd waiting{held.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&waiting, 1, 60'000), 1) << "the grandchild that held it is gone";
    const std::string variables =
        ChildProcess::supervise("/usr/bin/env", {}, {.variables = {{"A", "2"}}})->result.output;
    EXPECT_EQ(("\n" + variables).find("\nA=2\n"), ("\n" + variables).find("\nA=")) << "the first entry counts";
    const std::vector<std::string> endless = {"-c", "while :; do echo; done"};
    EXPECT_EQ(ChildProcess::supervise("/bin/sh", endless, {.limit = 200ms})->ending, Ending::timedOut);
    EXPECT_EQ(ChildProcess::supervise("/no/such/program", {}, {}), std::nullopt);
}

TEST(StopRequest, NotesSignalsAlsoWithoutAPipe) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    for (const rlim_t descriptors : {before.rlim_cur, rlim_t{0}}) {
        const rlimit limited{descriptors, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &limited);
        const StopRequest stop;
        ::setrlimit(RLIMIT_NOFILE, &before);
        EXPECT_EQ(stop.descriptor() < 0, descriptors == 0);
        EXPECT_FALSE(stop.hasArrived() || stop.arrivesWithin(1ms));
        std::raise(SIGINT);
        EXPECT_TRUE(stop.hasArrived() && stop.arrivesWithin(100s));
    }
    struct sigaction action {};
    EXPECT_TRUE(::sigaction(SIGINT, nullptr, &action) == 0 && action.sa_handler == SIG_DFL);
}

TEST(ProcessTable, KnowsProcessesOfAnyOwnerAndZombies) {
    const pid_t zombie = ::fork();
    if (zombie == 0) {
        ::setuid(65534);  // root may signal everybody
        ::_exit(ProcessTable::contains(1) && ProcessTable::contains(::getppid()) ? 0 : 1);
    }
    siginfo_t ended{};
    ::waitid(P_PID, static_cast<id_t>(zombie), &ended, WEXITED | WNOWAIT);
    EXPECT_EQ(ended.si_status, 0);
    // 0 would be the whole process group, -1 every process.
    for (const auto& [pid, isThere] : {std::pair{zombie, true}, {0, false}, {-1, false}}) {
        EXPECT_EQ(ProcessTable::contains(pid), isThere) << pid;
    }
    ::waitpid(zombie, nullptr, 0);
    EXPECT_FALSE(ProcessTable::contains(zombie));
}

TEST(Descriptor, CompletesPartialWritesOnAPipeThatDoesNotBlock) {
    Pipe pipe = Pipe::open().value();
    ::fcntl(pipe.readEnd.get(), F_SETFL, O_NONBLOCK);
    ::fcntl(pipe.writeEnd.get(), F_SETFL, O_NONBLOCK);
    std::thread writer([&] {
        EXPECT_TRUE(pipe.writeEnd.writeAll(std::string(1000000, 'x')));
        pipe.writeEnd.close();
    });
    std::size_t received = 0;
    std::array<char, 4096> buffer{};
    while (const auto count = pipe.readEnd.readSome(buffer.data(), buffer.size()).value_or(0)) {
        received += count;
    }
    writer.join();
    EXPECT_EQ(received, 1000000U);
}

TEST(FileLock, IsAPrivateFileAndNoticesWhenThatIsReplaced) {
    const TemporaryDirectory directory;
    const mode_t inherited = ::umask(0);
    const FileLock lock(directory / "lock", FileLock::Contention::refuse);
    ::umask(inherited);
    EXPECT_TRUE(lock.isInPlace());
    fs::rename(directory / "lock", directory / "old");
    directory.write("lock", "");
    EXPECT_FALSE(lock.isInPlace());
    EXPECT_EQ(fs::status(directory / "old").permissions(), fs::perms{0600});
    fs::create_symlink("elsewhere", directory / "link");
    EXPECT_THROW(FileLock(directory / "link", FileLock::Contention::refuse), std::system_error);
    EXPECT_TRUE(FileSystem::isMissing(directory / "elsewhere"));
}

TEST(Environment, TakesTheFirstEntryOfAName) {
    std::array<std::string, 4> texts = {"A=1=2", "A=3", "no name", "B="};
    std::array<char*, 5> entries = {texts[0].data(), texts[1].data(), texts[2].data(), texts[3].data(), nullptr};
    char** const before = std::exchange(environ, entries.data());
    const Environment environment = processEnvironment();
    environ = before;
    EXPECT_EQ(environment, (Environment{{"A", "1=2"}, {"B", ""}}));
}

TEST(HomeDirectory, IsAnAbsolutePathWithoutASlashAtItsEnd) {
    const passwd* user = ::getpwuid(::getuid());
    const std::string known = user == nullptr ? "/" : user->pw_dir;
    for (const auto& [variable, home] :
         {std::pair<const char*, std::string>{"/home/u//", "/home/u"}, {"/", "/"}, {"home", known}, {"", known}}) {
        ::setenv("HOME", variable, 1);
        EXPECT_EQ(homeDirectory(), home);
        EXPECT_EQ(FilePath::expandTilde("~/x/"), home == "/" ? "/x/" : home + "/x/");
    }
}

TEST(FilePath, NormalizesToOneSpelling) {
    ::setenv("HOME", "/home/u", 1);
    const std::string here = FilePath::absolute("");
    const std::pair<std::string_view, std::string> cases[] = {{"~", "/home/u"},
                                                              {"~/.claude-work/", "/home/u/.claude-work"},
                                                              {"/home/u/x/.././/y/.", "/home/u/y"},
                                                              {"/../..", "/"},
                                                              {"//a//b//", "/a/b"},
                                                              {"relative/../x", here + "/x"},
                                                              {"~no-such-user/x", here + "/~no-such-user/x"},
                                                              {"~root/x", "/root/x"},
                                                              {"/a/~/b", "/a/~/b"}};
    for (const auto& [path, normalized] : cases) {
        EXPECT_EQ(FilePath::normalize(path), normalized) << path;
    }
}

TEST(Paths, FindTheDataDirectory) {
    ::setenv("HOME", "/home/u", 1);
    const auto root = [](const char* value) { return Paths::root({{"HAVRICK_ROOT", value}}).string(); };
    EXPECT_EQ(Paths::root({}).native(), "/home/u/Library/Application Support/Havrick");
    EXPECT_EQ(root(""), "/home/u/Library/Application Support/Havrick");
    EXPECT_EQ(root("~/data/"), "/home/u/data");
    EXPECT_EQ(root("a/./ "), FilePath::absolute("") + "/a/ ");
    EXPECT_EQ(root("/x/ y /."), "/x/ y /.");
}

}  // namespace brellin
