#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace brellin::bench {

/// Session files as the sessions write them, all keys, about 450 bytes each.
namespace SessionFiles {

/// The id of the numbered session.
std::string sessionId(int number);

/// The text of the file of a session with that process.
std::string text(int number, pid_t pid, const std::string& procStart);

/// Declares that many sessions of dead processes in the account `<home>/.claude`.
void writeDead(const std::string& home, int count);

/// Declares one session for every process.
void writeLive(const std::string& home, const std::vector<pid_t>& processes);

}  // namespace SessionFiles

}  // namespace brellin::bench
