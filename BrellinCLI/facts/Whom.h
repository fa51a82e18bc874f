#pragma once

#include "BrellinCLI/facts/SessionsNow.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace brellin::cli {

/// A word that stands for nobody, or for several.
class UnclearWhom : public std::runtime_error {
  public:
    UnclearWhom(const std::string& text, std::vector<std::string> details)
        : std::runtime_error(text), details_(std::move(details)) {}

    /// A line for each of those that it may stand for.
    const std::vector<std::string>& details() const { return details_; }

  private:
    std::vector<std::string> details_;
};

/// Finds out whom somebody means.
namespace Whom {

/// The sessions that a word stands for: those with that id; or else those whose id begins with it, or that
/// have that name, short address, or address ("name [address]"). Of several with the same id or name the
/// dead ones do not count beside an alive one, and of several dead ones with the same id the one that
/// started last counts.
std::vector<const JudgedSession*> fitting(std::string_view word, const SessionsNow& now);

/// The one session that a word stands for.
///
/// @throws UnclearWhom none fits, or several do
const JudgedSession& one(std::string_view word, const SessionsNow& now);

/// Those of the texts that a typist may have meant, the nearest first: those that begin so, then those with
/// a few other characters; at most three.
std::vector<std::string> nearest(std::string_view word, const std::vector<std::string>& texts);

}  // namespace Whom

}  // namespace brellin::cli
