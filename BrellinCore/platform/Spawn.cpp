#include "BrellinCore/platform/Spawn.h"

#include <fcntl.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): the signal sets are POSIX, not C++
#include <spawn.h>
#include <unistd.h>

#include <string_view>

extern char** environ;  // NOLINT: macOS leaves the declaration to the program

namespace brellin {

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

/// A list of texts as C wants it: pointers, and a null pointer behind them. posix_spawn does not write to
/// them.
class TextList {
  public:
    void add(const char* text) { pointers_.back() = const_cast<char*>(text), pointers_.push_back(nullptr); }
    char* const* get() const { return pointers_.data(); }

  private:
    std::vector<char*> pointers_ = {nullptr};
};

/// The environment of this process without the variables that are set anew.
TextList inheritedWithout(const Environment& variables) {
    TextList kept;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        if (!variables.contains(std::string(text.substr(0, text.find('='))))) {
            kept.add(*entry);
        }
    }
    return kept;
}

}  // namespace

std::optional<pid_t> spawn(const char* executable, const std::vector<std::string>& arguments,
                           const Environment& variables, const Descriptor& output) {
    FileActions actions;
    SpawnAttributes attributes;
    if (!actions.redirect(output.get()) || !attributes.shieldFromSignals()) {
        return std::nullopt;
    }
    TextList words;
    words.add(executable);
    for (const std::string& argument : arguments) {
        words.add(argument.c_str());
    }
    TextList environment = inheritedWithout(variables);
    std::vector<std::string> settings;
    settings.reserve(variables.size());
    for (const auto& [name, value] : variables) {
        environment.add(settings.emplace_back(name).append("=").append(value).c_str());
    }
    pid_t pid = 0;
    if (::posix_spawn(&pid, executable, actions.get(), attributes.get(), words.get(), environment.get()) !=
        0) {
        return std::nullopt;
    }
    return pid;
}

}  // namespace brellin
