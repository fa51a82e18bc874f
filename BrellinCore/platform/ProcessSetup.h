#pragma once

namespace brellin {

/// What an executable settles about its own process before it does anything else.
namespace ProcessSetup {

/// Undoes what a host may have handed down, and keeps a closed pipe from ending the process:
/// SIGCHLD is set to its default (ignored, no exit status could be read), SIGPIPE is ignored (a write
/// reports the error instead), missing standard streams are opened on the null device (a database file
/// must not become descriptor 2), and inherited descriptors are kept from child processes.
///
/// What the process creates from now on is for its user alone (umask 077): the history and the lists tell
/// addresses and directories that the session files, from which they come, keep private.
void prepare();

/// Gives freed memory back to the system, where the allocator would keep it. For use after something
/// unusually large was freed.
void releaseFreedMemory();

}  // namespace ProcessSetup

}  // namespace brellin
