#include "BrellinCore/platform/ChildProcess.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/platform/Pipe.h"
#include "BrellinCore/platform/ProcessTable.h"
#include "tests/world/TemporaryDirectory.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <thread>

namespace brellin {

namespace fs = std::filesystem;
using world::TemporaryDirectory;

TEST(FileSystem, ReadsRegularFilesWholeAndNothingElse) {
    const TemporaryDirectory directory;
    const std::string content = std::string("a\0b", 3) + std::string(100000, 'x');
    EXPECT_EQ(FileSystem::readFile(directory.write("file", content)), content);
    EXPECT_EQ(FileSystem::readFile(directory.write("empty", "")), "");
#ifdef __linux__
    // Such a file says that it has no bytes, and has some.
    EXPECT_NE(FileSystem::readFile("/proc/self/status").value_or("").find("Name:"), std::string::npos);
#endif

    ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);
    fs::create_symlink("nowhere", directory / "dangling");
    fs::create_symlink("loop", directory / "loop");
    fs::resize_file(directory.write("huge", ""), std::uintmax_t{1} << 40U);
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
}

TEST(ChildProcess, ReportsOutputAndExitStatus) {
    using ChildProcess::Result;
    EXPECT_EQ(ChildProcess::run("/bin/echo", {"a b", "$HOME"}), (Result{0, "a b $HOME\n"}));
    EXPECT_EQ(ChildProcess::run("/bin/sh", {"-c", "echo lost >&2; exit 3"}), (Result{3, ""}));
    EXPECT_EQ(ChildProcess::run("/bin/sh", {"-c", "kill -9 $$"}), (Result{std::nullopt, ""}));
    EXPECT_EQ(ChildProcess::run("/no/such/program", {}), std::nullopt);
    EXPECT_EQ(ChildProcess::run("/usr/bin/head", {"-c", "1000000", "/dev/zero"}).value_or(Result()).output.size(),
              1000000U)
        << "more than a pipe holds must not block";
}

TEST(ChildProcess, HandsDownNoDescriptorAndDefaultSignals) {
    const Descriptor secret(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const Descriptor known(::fcntl(secret.get(), F_DUPFD_CLOEXEC, 77));
    ::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(ChildProcess::run("/bin/sh", {"-c", "test -e /dev/fd/77"}), (ChildProcess::Result{1, ""}));
    // With SIGPIPE ignored, `yes` would complain about its closed pipe and go on to exit 1.
    const auto broken = ChildProcess::run("/bin/bash", {"-c", "yes | head -1; echo ${PIPESTATUS[0]}"});
    EXPECT_EQ(broken->output, "y\n141\n");
}

TEST(ChildProcess, WorksWithoutStandardStreams) {
    const Descriptor keptOutput(::dup(STDOUT_FILENO));
    const Descriptor keptErrors(::dup(STDERR_FILENO));
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    const auto result = ChildProcess::run("/bin/echo", {"heard"});
    ::dup2(keptOutput.get(), STDOUT_FILENO);
    ::dup2(keptErrors.get(), STDERR_FILENO);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->output, "heard\n");
}

TEST(ProcessTable, KnowsProcessesOfAnyOwnerAndZombies) {
    const pid_t zombie = ::fork();
    if (zombie == 0) {
        ::_exit(0);
    }
    siginfo_t ended{};
    ::waitid(P_PID, static_cast<id_t>(zombie), &ended, WEXITED | WNOWAIT);
    // 0 would be the whole process group, -1 every process.
    for (const auto& [pid, isThere] : {std::pair{1, true}, {zombie, true}, {0, false}, {-1, false}}) {
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

}  // namespace brellin
