#include "BrellinCore/platform/ChildProcess.h"
#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/platform/FileSystem.h"
#include "BrellinCore/platform/ProcessTable.h"
#include "tests/world/Program.h"
#include "tests/world/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <thread>

namespace brellin {

namespace fs = std::filesystem;
using world::TemporaryDirectory;

TEST(FileSystem, ReadsRegularFilesWhole) {
    const TemporaryDirectory directory;
    const std::string content = std::string("a\0b", 3) + std::string(100000, 'x');
    EXPECT_EQ(FileSystem::readFile(directory.write("file", content)), content);
    EXPECT_EQ(FileSystem::readFile(directory.write("empty", "")), "");
    fs::create_symlink("file", directory / "link");
    EXPECT_EQ(FileSystem::readFile(directory / "link"), content);
    // Such a file says that it has no bytes, and has some.
    EXPECT_NE(FileSystem::readFile("/proc/self/status").value_or("").find("Name:"), std::string::npos);
}

TEST(FileSystem, CountsEverythingElseAsUnreadable) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);
    fs::create_symlink("nowhere", directory / "dangling");
    fs::create_symlink("loop", directory / "loop");
    directory.write("huge", "");
    fs::resize_file(directory / "huge", std::uintmax_t{1} << 40U);
    sockaddr_un address{AF_UNIX, "socket"};
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(::chdir(directory.path().c_str()), 0);
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    for (const char* name : {"fifo", "dangling", "loop", "huge", "socket", "missing", "."}) {
        EXPECT_EQ(FileSystem::readFile(directory / name), std::nullopt) << name;
    }
    EXPECT_EQ(FileSystem::readFile("/dev/zero"), std::nullopt);
    const std::string cut = directory.write("cut", "text") + std::string("\0.json", 6);
    EXPECT_EQ(FileSystem::readFile(cut), std::nullopt) << "a NUL must not cut the path short";
    EXPECT_EQ(FileSystem::listDirectory(directory / "fifo"), std::nullopt);
}

TEST(FileSystem, ListsNamesSortedByTheirBytes) {
    const TemporaryDirectory directory;
    for (const char* name : {"b", "B", ".hidden", "é", "a\xFF", "a/inner"}) {
        directory.write(name, "");
    }
    const std::vector<std::string> names = {".hidden", "B", "a", "a\xFF", "b", "é"};
    EXPECT_EQ(FileSystem::listDirectory(directory.path()), names);
    EXPECT_EQ(FileSystem::listDirectory(directory / "b"), std::nullopt);
    EXPECT_EQ(FileSystem::listDirectory(directory / "missing"), std::nullopt);
}

TEST(ChildProcess, ReportsOutputAndExitStatus) {
    using ChildProcess::Result;
    EXPECT_EQ(ChildProcess::run("/bin/echo", {"a b", "$HOME"}), (Result{0, "a b $HOME\n"}));
    EXPECT_EQ(ChildProcess::run("/bin/sh", {"-c", "echo lost >&2; exit 3"}), (Result{3, ""}));
    EXPECT_EQ(ChildProcess::run("/bin/sh", {"-c", "kill -9 $$"}), (Result{std::nullopt, ""}));
    EXPECT_EQ(ChildProcess::run("/no/such/program", {}), std::nullopt);
    const auto large = ChildProcess::run("/usr/bin/head", {"-c", "1000000", "/dev/zero"});
    ASSERT_TRUE(large) << "more than a pipe holds must not block";
    EXPECT_EQ(large->output.size(), 1000000U);
}

TEST(ChildProcess, HandsDownNoDescriptorAndDefaultSignals) {
    const Descriptor secret(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const Descriptor known(::fcntl(secret.get(), F_DUPFD_CLOEXEC, 77));
    ::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(ChildProcess::run("/usr/bin/test", {"-e", "/dev/fd/77"}), (ChildProcess::Result{1, ""}));
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
    EXPECT_TRUE(ProcessTable::contains(::getpid()));
    EXPECT_TRUE(ProcessTable::contains(1));
    EXPECT_FALSE(ProcessTable::contains(world::deadPid()));
    EXPECT_FALSE(ProcessTable::contains(0)) << "would be the whole process group";
    EXPECT_FALSE(ProcessTable::contains(-1)) << "would be every process";
    const pid_t zombie = ::fork();
    if (zombie == 0) {
        ::_exit(0);
    }
    siginfo_t ended{};
    ::waitid(P_PID, static_cast<id_t>(zombie), &ended, WEXITED | WNOWAIT);
    EXPECT_TRUE(ProcessTable::contains(zombie));
    ::waitpid(zombie, nullptr, 0);
}

TEST(Descriptor, CompletesPartialWritesOnAPipeThatDoesNotBlock) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_NONBLOCK), 0);
    const Descriptor readEnd(ends[0]);
    Descriptor writeEnd(ends[1]);
    const std::string sent(1000000, 'x');
    std::thread writer([&] {
        EXPECT_TRUE(writeEnd.writeAll(sent));
        writeEnd.close();
    });
    std::string received;
    std::array<char, 4096> buffer{};
    for (auto count = readEnd.readSome(buffer.data(), buffer.size()); count.value_or(0) > 0;
         count = readEnd.readSome(buffer.data(), buffer.size())) {
        received.append(buffer.data(), *count);
    }
    writer.join();
    EXPECT_EQ(received.size(), sent.size());
}

}  // namespace brellin
