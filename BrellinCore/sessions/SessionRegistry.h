#pragma once

#include "BrellinCore/accounts/ClaudeAccount.h"
#include "BrellinCore/sessions/SessionRecord.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// Reads the sessions that accounts declare, straight from disk. Nothing fails: a directory that cannot be
/// listed holds no sessions, a file that cannot be read or understood, or is larger than 64 MiB, is
/// skipped, and neither hides others.
namespace SessionRegistry {

/// What one look at an account's registry found.
struct Survey {
    std::vector<SessionRecord> records;        ///< as records() gives them
    std::vector<std::string> filesWithoutOne;  ///< paths of files that are to hold a session, and do not
    bool isListed = true;  ///< false when there is a directory, or may be one, that could not be listed
};

/// The same as records(), together with what it leaves out.
Survey survey(const std::string& accountPath);

/// The sessions declared by the files `<accountPath>/sessions/*.json`, oldest first; those that started
/// at the same time in the order of their file names.
std::vector<SessionRecord> records(const std::string& accountPath);

/// The sessions of every account that exists on disk, account by account in the given order. A session
/// declared in two accounts stands twice.
std::vector<SessionRecord> allRecords(const std::vector<ClaudeAccount>& accounts);

/// The session that the text of one file declares; nullopt when it is not JSON, not an object, or a
/// required key is missing or of another type.
std::optional<SessionRecord> recordInDocument(std::string_view text, const std::string& accountPath);

}  // namespace SessionRegistry

}  // namespace brellin
