#pragma once

#include "BrellinCore/platform/Descriptor.h"

#include <cstdint>
#include <optional>
#include <string>

namespace brellin {

/// Keeps other processes out while this object lives. The system ends the lock with its process, however
/// that ends, so nothing stale stays behind; the file itself is empty and stays where it is.
///
/// A POSIX record lock belongs to the process: within one process a second lock on the same file is
/// granted, too, and closing either of them ends both. So a process must hold at most one lock on a file.
class FileLock {
  public:
    /// What to do about another process that has the lock.
    enum class Contention { refuse, wait };

    /// Locks the file, creating it for this user alone where it is missing (not its directory). A symbolic
    /// link is an error: it would let whoever may write to the directory have a file made elsewhere.
    ///
    /// @throws std::system_error the file cannot be created or locked for another reason than its holder
    FileLock(const std::string& path, Contention contention);

    /// The process that had the lock when it was refused; nullopt when this object has it.
    std::optional<std::int32_t> holder() const { return holder_; }

    /// False when the file has been deleted or replaced: others would lock another one.
    bool isInPlace() const;

    /// The process that has the lock on a file, without taking it; 0 for one that cannot be seen from here,
    /// as that of another container. nullopt when nobody has it, and when the file is missing (it is not
    /// created) or cannot be read. For a file that this process has not locked: it would lose the lock.
    static std::optional<std::int32_t> holderOf(const std::string& path);

  private:
    std::string path_;
    Descriptor file_;
    std::optional<std::int32_t> holder_;
};

}  // namespace brellin
