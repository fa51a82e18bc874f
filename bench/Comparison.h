#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <vector>

namespace brellin::bench {

using Seconds = std::chrono::duration<double>;

/// One turn of some work; returns how long the part that counts took.
using Turn = std::function<Seconds()>;

/// Two ways to do the same work, as they compare.
struct Comparison {
    Seconds ours{};    ///< median
    Seconds floor{};   ///< median
    double ratio = 0;  ///< median of the ratios of neighbouring turns
};

/// How long the rows may take; the same for all, so that one word makes the run short.
struct Patience {
    Seconds perRow{5};
    std::size_t largestFile = 0;  ///< in bytes, of what is made to be read
    int pastSessions = 0;         ///< of a history of a year
};

/// How long one call of the work takes.
Seconds timed(const std::function<void()>& work);

/// Lets the two take turns until the time is up, five pairs at least. The machine is seldom quiet, but what
/// disturbs one turn of a pair usually disturbs the other, too; and who goes first changes from pair to
/// pair.
Comparison compare(const Patience& patience, const Turn& ours, const Turn& floor);

double median(std::vector<double> values);

}  // namespace brellin::bench
