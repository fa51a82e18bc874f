#pragma once

#include "BrellinCore/platform/Descriptor.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// Reading of directories and files that other programs own: anything may be there, and nothing of it may
/// stop or delay the reader. A path that holds a NUL byte names nothing.
namespace FileSystem {

/// A larger file counts as unreadable when it is to be read whole: none of those comes near it, and neither
/// a sparse file of a terabyte nor one of gigabytes may delay an answer.
inline constexpr std::size_t maxFileSize = std::size_t{64} << 20U;

/// True when the path exists and is a directory; symbolic links are followed.
bool isDirectory(const std::string& path);

/// True when nothing has that name, in no directory or in none that exists. False when something has it, be
/// it a symbolic link to nothing, and when the system does not say.
bool isMissing(const std::string& path);

/// The names in one directory, hidden ones included, "." and ".." not, sorted by their bytes. nullopt when
/// the directory cannot be listed to its end.
std::optional<std::vector<std::string>> listDirectory(const std::string& path);

/// A regular file (symbolic links are followed), open for reading it in pieces, whatever its size. nullopt
/// when there is none that can be opened; FIFOs, sockets, devices and directories never are, and never
/// block.
std::optional<Descriptor> openFile(const std::string& path);

/// The whole content of a file as openFile opens it. nullopt when it cannot be read to its end, or is too
/// large.
std::optional<std::string> readFile(const std::string& path);

/// Puts a file with this content in the place of whatever has the name, all at once: a temporary file
/// beside it is written, brought to the disk, and renamed. A reader or a crash finds the old file or the
/// new one, whole; after a failure the temporary file is gone again.
///
/// Where the name is a symbolic link, the file at the end of the links is replaced, or made; the links
/// stay. The new file is as readable and writable as the umask allows, but no more than a regular file that
/// was there.
///
/// @throws std::system_error the file could not be written; what was there is unchanged
void writeFileAtomically(const std::string& path, std::string_view content);

}  // namespace FileSystem

}  // namespace brellin
