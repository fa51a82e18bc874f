#include "tests/world/Program.h"

#include "tests/world/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): kill is POSIX, not C++
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace brellin::world {

namespace {

void redirect(int descriptor, const std::string& path, int flags) {
    const int file = ::open(path.c_str(), flags, 0600);
    ::dup2(file, descriptor);
    ::close(file);
}

[[noreturn]] void execute(const std::vector<std::string>& command, const std::vector<std::string>& variables) {
    std::vector<char*> arguments;
    std::vector<char*> environment;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    for (const std::string& variable : variables) {
        environment.push_back(const_cast<char*>(variable.c_str()));
    }
    arguments.push_back(nullptr);
    environment.push_back(nullptr);
    ::execve(arguments[0], arguments.data(), environment.data());
    ::_exit(127);
}

}  // namespace

ProgramRun runProgram(const std::vector<std::string>& command, const Environment& environment, std::string_view input) {
    // Files instead of pipes: nobody has to read while someone else writes.
    const TemporaryDirectory files;
    files.write("input", input);
    std::vector<std::string> variables = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin"};
    for (const auto& [name, value] : environment) {
        variables.push_back(name + "=" + value);
    }
    const pid_t pid = ::fork();
    if (pid == 0) {
        redirect(STDIN_FILENO, files / "input", O_RDONLY);
        redirect(STDOUT_FILENO, files / "output", O_WRONLY | O_CREAT);
        redirect(STDERR_FILENO, files / "errors", O_WRONLY | O_CREAT);
        execute(command, variables);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(pid, &status, 0), pid);
    return {contentOf(files / "output"), contentOf(files / "errors"), WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

LiveProcess::LiveProcess(const std::vector<std::string>& command) : pid_(::fork()) {
    if (pid_ == 0) {
        execute(command, {});
    }
}

LiveProcess::~LiveProcess() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
}

std::string LiveProcess::procStart() const {
    std::string start = runProgram({"/bin/ps", "-o", "lstart=", "-p", std::to_string(pid_)}, {{"TZ", "UTC"}}).output;
    start.erase(start.find_last_not_of(" \n") + 1);
    return start;
}

pid_t deadPid() {
    return LiveProcess().pid();
}

}  // namespace brellin::world
