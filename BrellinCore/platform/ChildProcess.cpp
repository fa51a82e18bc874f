#include "BrellinCore/platform/ChildProcess.h"

#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/platform/Pipe.h"

#include <fcntl.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): the signal sets are POSIX, not C++
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

extern char** environ;  // NOLINT: macOS leaves the declaration to the program

namespace brellin::ChildProcess {

namespace {

class FileActions {
  public:
    FileActions() { ready_ = ::posix_spawn_file_actions_init(&actions_) == 0; }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() {
        if (ready_) {
            ::posix_spawn_file_actions_destroy(&actions_);
        }
    }

    bool redirect(int outputDescriptor) {
#ifdef __APPLE__
        // POSIX_SPAWN_CLOEXEC_DEFAULT would close it.
        if (!ready_ || ::posix_spawn_file_actions_addinherit_np(&actions_, STDIN_FILENO) != 0) {
            return false;
        }
#endif
        return ready_ &&
               ::posix_spawn_file_actions_adddup2(&actions_, outputDescriptor, STDOUT_FILENO) == 0 &&
               discardErrors();
    }
    const posix_spawn_file_actions_t* get() const {
        return &actions_;
    }

  private:
    bool discardErrors() {
        constexpr const char* nullDevice = "/dev/null";
        // A bare root directory may have none; an open that fails would keep the child from starting.
        return ::access(nullDevice, W_OK) == 0
                   ? ::posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, nullDevice, O_WRONLY,
                                                        0) == 0
                   : ::posix_spawn_file_actions_addclose(&actions_, STDERR_FILENO) == 0;
    }

    posix_spawn_file_actions_t actions_{};
    bool ready_ = false;
};

class SpawnAttributes {
  public:
    SpawnAttributes() { ready_ = ::posix_spawnattr_init(&attributes_) == 0; }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() {
        if (ready_) {
            ::posix_spawnattr_destroy(&attributes_);
        }
    }

    /// The executables ignore SIGPIPE, which a child would inherit. In a process group of its own the child
    /// does not get the SIGINT of a terminal: whoever started it decides what that means, and what `ps`
    /// had to say is not cut short by it.
    bool shieldFromSignals() {
        sigset_t changed;
        ::sigemptyset(&changed);
        ::sigaddset(&changed, SIGPIPE);
        short flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP;
#ifdef __APPLE__
        flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#endif
        return ready_ && ::posix_spawnattr_setsigdefault(&attributes_, &changed) == 0 &&
               ::posix_spawnattr_setpgroup(&attributes_, 0) == 0 &&
               ::posix_spawnattr_setflags(&attributes_, flags) == 0;
    }
    const posix_spawnattr_t* get() const {
        return &attributes_;
    }

  private:
    posix_spawnattr_t attributes_{};
    bool ready_ = false;
};

std::optional<pid_t> spawn(const char* executable, const std::vector<std::string>& arguments,
                           const Descriptor& output) {
    FileActions actions;
    SpawnAttributes attributes;
    if (!actions.redirect(output.get()) || !attributes.shieldFromSignals()) {
        return std::nullopt;
    }
    std::vector<char*> pointers;
    pointers.push_back(const_cast<char*>(executable));  // posix_spawn does not write to it
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    pid_t pid = 0;
    if (::posix_spawn(&pid, executable, actions.get(), attributes.get(), pointers.data(), environ) != 0) {
        return std::nullopt;
    }
    return pid;
}

bool readToEnd(const Descriptor& source, std::string& output) {
    constexpr std::size_t pieceSize = 4096;
    std::size_t filled = 0;
    for (;;) {
        if (output.size() - filled < pieceSize) {
            output.resize(std::max(pieceSize, output.size() * 2));
        }
        const auto count = source.readSome(output.data() + filled, output.size() - filled);
        filled += count.value_or(0);
        if (!count || *count == 0) {
            output.resize(filled);
            return count.has_value();
        }
    }
}

std::optional<int> waitForExit(pid_t pid) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            return std::nullopt;
        }
    }
    return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
}

}  // namespace

std::optional<Result> run(const char* executable, const std::vector<std::string>& arguments) {
    auto pipe = Pipe::open();
    if (!pipe) {
        return std::nullopt;
    }
    const auto pid = spawn(executable, arguments, pipe->writeEnd);
    pipe->writeEnd.close();
    if (!pid) {
        return std::nullopt;
    }
    Result result;
    const bool readAll = readToEnd(pipe->readEnd, result.output);
    pipe->readEnd.close();
    result.exitStatus = waitForExit(*pid);
    return readAll ? std::optional(std::move(result)) : std::nullopt;
}

}  // namespace brellin::ChildProcess
