#pragma once

#include <optional>
#include <string>

namespace brellin {

/// Who may get at a file or directory. Access control lists, which some systems have besides, are not read.
namespace Permissions {

struct Access {
    bool isOurs = false;          ///< its owner is the user that this process acts as
    bool othersCanRead = false;   ///< its group or everybody else; in a directory also: use the names in it
    bool othersCanWrite = false;  ///< its group or everybody else

    friend bool operator==(const Access&, const Access&) = default;
};

/// What is at the path, symbolic links followed; nullopt when the system does not say.
std::optional<Access> of(const std::string& path);

/// Takes all rights of the group and of everybody else away; the owner's stay. False when that failed, also
/// for a symbolic link, which is not followed. The file is not opened: closing it again would end the locks
/// that this process has on it.
bool makePrivate(const std::string& path);

}  // namespace Permissions

}  // namespace brellin
