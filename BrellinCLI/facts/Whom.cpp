#include "BrellinCLI/facts/Whom.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace brellin::cli::Whom {

namespace {

bool isAlive(const JudgedSession& session) {
    return session.verdict.state == Liveness::alive && !session.isZombie;
}

/// Whether `other` makes the session one that nobody means.
bool isOutdone(const JudgedSession& session, const JudgedSession& other) {
    const SessionRecord& record = session.record;
    const bool sameId = record.sessionId == other.record.sessionId;
    const bool sameName = record.name && record.name == other.record.name;
    if (isAlive(session) != isAlive(other)) {
        return isAlive(other) && (sameId || sameName);
    }
    return sameId && record.startedAt < other.record.startedAt;
}

std::vector<const JudgedSession*> fittingIf(const SessionsNow& now, auto fits) {
    std::vector<const JudgedSession*> found;
    for (const JudgedSession& session : now.sessions) {
        if (fits(session.record)) {
            found.push_back(&session);
        }
    }
    return found;
}

/// How many characters have to be put in, taken out or replaced to make one word of the other.
std::size_t editDistance(std::string_view left, std::string_view right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < right.size(); ++j) {
            const std::size_t replaced = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

UnclearWhom severalFit(std::string_view word, const std::vector<const JudgedSession*>& found,
                       const SessionsNow& now) {
    constexpr std::size_t most = 10;
    std::vector<std::string> details;
    for (const JudgedSession* session : found) {
        if (details.size() == most) {
            details.push_back(fmt::format("  and {} more", found.size() - most));
            break;
        }
        const SessionRecord& record = session->record;
        details.push_back(fmt::format("  {:7}  {}  {}  {}", stateWord(*session), record.sessionId,
                                      now.accountLabel(record.accountPath),
                                      record.peerAddress().value_or(record.name.value_or("unnamed"))));
    }
    return {fmt::format("\"{}\" stands for {} sessions; say which by its id:", word, found.size()),
            std::move(details)};
}

UnclearWhom noneFits(std::string_view word, const SessionsNow& now) {
    std::vector<std::string> names;
    for (const JudgedSession& session : now.sessions) {
        if (session.record.name) {
            names.push_back(*session.record.name);
        }
    }
    const std::vector<std::string> meant = nearest(word, names);
    const std::string hint =
        meant.empty() ? "" : fmt::format("; did you mean {}?", fmt::join(meant, " or "));
    return {fmt::format("no declared session has the id, name or short address \"{}\"{}", word, hint), {}};
}

}  // namespace

std::vector<const JudgedSession*> fitting(std::string_view word, const SessionsNow& now) {
    auto found = fittingIf(now, [&](const SessionRecord& record) { return record.sessionId == word; });
    if (found.empty()) {
        found = fittingIf(now, [&](const SessionRecord& record) {
            return record.sessionId.starts_with(word) || record.name == word || record.peerRef() == word ||
                   record.peerAddress() == word;
        });
    }
    const auto all = found;
    std::erase_if(found, [&](const JudgedSession* session) {
        return std::ranges::any_of(all,
                                   [&](const JudgedSession* other) { return isOutdone(*session, *other); });
    });
    return found;
}

const JudgedSession& one(std::string_view word, const SessionsNow& now) {
    const auto found = fitting(word, now);
    if (found.empty()) {
        throw noneFits(word, now);
    }
    if (found.size() > 1) {
        throw severalFit(word, found, now);
    }
    return *found.front();
}

std::vector<std::string> nearest(std::string_view word, const std::vector<std::string>& texts) {
    constexpr std::size_t most = 3;
    std::vector<std::pair<std::size_t, std::string>> ranked;
    for (const std::string& text : texts) {
        const std::size_t distance = !word.empty() && text.starts_with(word) ? 0 : editDistance(word, text);
        if (distance <= std::max<std::size_t>(1, std::max(word.size(), text.size()) / 3)) {
            ranked.emplace_back(distance, text);
        }
    }
    std::ranges::sort(ranked);
    ranked.erase(std::unique(ranked.begin(), ranked.end()), ranked.end());
    std::vector<std::string> meant;
    for (std::size_t place = 0; place < std::min(most, ranked.size()); ++place) {
        meant.push_back(std::move(ranked[place].second));
    }
    return meant;
}

}  // namespace brellin::cli::Whom
