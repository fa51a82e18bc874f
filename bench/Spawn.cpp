#include "bench/Spawn.h"

#include "BrellinCore/platform/Descriptor.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace brellin::bench {

namespace {

std::vector<char*> pointersTo(const std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (const std::string& word : words) {
        pointers.push_back(const_cast<char*>(word.c_str()));  // posix_spawn does not write to it
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

pid_t spawn(const std::vector<std::string>& command, const Environment& environment, int input,
            int output) {
    std::vector<std::string> variables;
    for (const auto& [name, value] : environment) {
        variables.push_back(std::string(name).append("=").append(value));
    }
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int error = ::posix_spawn(&pid, command.front().c_str(), &actions, nullptr,
                                    pointersTo(command).data(), pointersTo(variables).data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error(command.front() + " cannot be started");
    }
    return pid;
}

int waitForExit(pid_t pid) {
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void run(const std::vector<std::string>& command, const Environment& environment) {
    const Descriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (waitForExit(spawn(command, environment, nothing.get(), nothing.get())) != 0) {
        throw std::runtime_error(command.front() + " failed");
    }
}

}  // namespace brellin::bench
