#pragma once

#include "BrellinCore/store/Chronicle.h"

#include <boost/json/object.hpp>

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace brellin::cli {

/// How one change reads.
namespace EventLine {

/// Every kind of event that the history of this version may hold.
inline constexpr std::array<std::string_view, 13> kinds = {
    "seen",     "renamed", "restarted",     "reincarnated", "died",    "revived",   "undeclared",
    "returned", "left",    "send_prepared", "occupied",     "vacated", "reoccupied"};

/// Time, kind, name and short address, account, full id. One line, whatever a name holds.
///
/// @param account how the account is called
std::string text(const Change& change, std::string_view account);

/// The same facts: "at", "atTime", "kind", "certainty", "detail", "sessionId", "accountPath",
/// "accountLabel", "name", "ref"; what is absent is left out.
boost::json::object json(const Change& change, std::string_view account);

}  // namespace EventLine

}  // namespace brellin::cli
