#include "tests/world/Program.h"

#include "tests/world/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <csignal>

namespace brellin::world {

namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// Waits for the end of a process: its exit status, -1 when a signal ended it.
int exitStatusOf(pid_t pid) {
    int status = -1;
    EXPECT_EQ(::waitpid(pid, &status, 0), pid);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Returns when the process is the program that was asked for.
pid_t start(std::vector<std::string> command, const Environment& environment,
            const posix_spawn_file_actions_t* streams) {
    std::vector<std::string> variables = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin"};
    for (const auto& [name, value] : environment) {
        variables.push_back(name + "=" + value);
    }
    pid_t pid = 0;
    EXPECT_EQ(::posix_spawn(&pid, command[0].c_str(), streams, nullptr, pointersTo(command).data(),
                            pointersTo(variables).data()),
              0)
        << command[0];
    return pid;
}

}  // namespace

ProgramRun runProgram(const std::vector<std::string>& command, const Environment& environment, std::string_view input) {
    // Files instead of pipes: nobody has to read while someone else writes.
    const TemporaryDirectory files;
    posix_spawn_file_actions_t streams{};
    ::posix_spawn_file_actions_init(&streams);
    ::posix_spawn_file_actions_addopen(&streams, 0, files.write("input", input).c_str(), O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&streams, 1, (files / "output").c_str(), O_WRONLY | O_CREAT, 0600);
    ::posix_spawn_file_actions_addopen(&streams, 2, (files / "errors").c_str(), O_WRONLY | O_CREAT, 0600);
    const pid_t pid = start(command, environment, &streams);
    ::posix_spawn_file_actions_destroy(&streams);
    const int exitStatus = exitStatusOf(pid);
    return {files.read("output"), files.read("errors"), exitStatus};
}

std::string startOf(pid_t pid, const std::string& zone) {
    const std::string ps = "echo $(/bin/ps -o lstart= -p " + std::to_string(pid) + ")";
    const std::string start = runProgram({"/bin/sh", "-c", ps}, {{"TZ", zone}}).output;
    return start.substr(0, start.find('\n'));
}

LiveProcess::LiveProcess(const std::vector<std::string>& command, const Environment& environment)
    : pid_(start(command, environment, nullptr)) {}

LiveProcess::~LiveProcess() {
    if (!hasEnded_) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

int LiveProcess::wait() {
    hasEnded_ = true;
    return exitStatusOf(pid_);
}

}  // namespace brellin::world
