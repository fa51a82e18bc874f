#include "BrellinCLI/facts/SessionChanges.h"

#include <fmt/format.h>

#include <utility>

namespace brellin::cli {

namespace {

bool isSame(const JudgedSession& one, const JudgedSession& other) {
    return stateWord(one) == stateWord(other) && one.record.name == other.record.name &&
           one.record.socketPath == other.record.socketPath &&  // from which the address is made
           one.record.reportedStatus == other.record.reportedStatus;
}

}  // namespace

std::string SessionChanges::keyOf(const JudgedSession& session) {
    const SessionRecord& record = session.record;
    return fmt::format("{}\n{}\n{}", record.accountPath, record.sessionId, record.pid);
}

void SessionChanges::note(const SessionsNow& now, Time time) {
    std::map<std::string, Known> known;
    for (const JudgedSession& session : now.sessions) {
        const std::string key = keyOf(session);
        const auto before = known_.find(key);
        const bool isKnown = before != known_.end();
        const bool hasChanged = isKnown ? !isSame(before->second.session, session) : hasLooked_;
        const Time changedBefore = isKnown ? before->second.changedAt : Time::min();
        known.insert_or_assign(key, Known{session, hasChanged ? time : changedBefore});
    }
    left_.clear();
    for (auto& [key, before] : known_) {
        if (!known.contains(key)) {
            left_.push_back(std::move(before.session));
        }
    }
    known_ = std::move(known);
    hasLooked_ = true;
}

SessionChanges::Time SessionChanges::changedAt(const JudgedSession& session) const {
    const auto known = known_.find(keyOf(session));
    return known == known_.end() ? Time::min() : known->second.changedAt;
}

}  // namespace brellin::cli
