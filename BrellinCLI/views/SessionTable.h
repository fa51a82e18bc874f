#pragma once

#include "BrellinCLI/facts/SessionsNow.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brellin::cli {

/// Sessions as a table: one line for each.
namespace SessionTable {

/// By what the rows are sorted. Sessions that are equal in it stay as they are.
enum class Order { state, name, account, status, pid, age, directory };

/// The order with that name; nullopt for any other text.
std::optional<Order> orderFromName(std::string_view name);

/// The names of all orders, for messages.
std::vector<std::string> orderNames();

/// Sorts; Order::state is alive first, then by account and start.
void sort(std::vector<const JudgedSession*>& sessions, Order order, const SessionsNow& now);

struct Form {
    std::optional<std::size_t> width;  ///< nullopt where nothing is cut
    bool hasTitles = true;
    bool isWide = false;   ///< with ids and start times, and nothing is cut
    std::int64_t now = 0;  ///< milliseconds since the Unix epoch, for ages
};

/// One line for each session, the titles before them.
std::vector<std::string> lines(const std::vector<const JudgedSession*>& sessions, const SessionsNow& now,
                               const Form& form);

/// "3 alive, 300 stale, 1 unknown · 2 accounts".
std::string sums(const std::vector<const JudgedSession*>& sessions);

}  // namespace SessionTable

}  // namespace brellin::cli
