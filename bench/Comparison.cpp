#include "bench/Comparison.h"

#include <algorithm>

namespace brellin::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t fewestPairs = 5;

}  // namespace

Seconds timed(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return Clock::now() - start;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

Comparison compare(const Patience& patience, const Turn& ours, const Turn& floor) {
    ours();
    floor();
    std::vector<double> oursTook;
    std::vector<double> floorTook;
    std::vector<double> ratios;
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(patience.perRow);
    while (ratios.size() < fewestPairs || Clock::now() < end) {
        const bool oursFirst = ratios.size() % 2 == 0;
        const double first = (oursFirst ? ours : floor)().count();
        const double second = (oursFirst ? floor : ours)().count();
        oursTook.push_back(oursFirst ? first : second);
        floorTook.push_back(oursFirst ? second : first);
        ratios.push_back(oursTook.back() / floorTook.back());
    }
    return {Seconds(median(oursTook)), Seconds(median(floorTook)), median(ratios)};
}

}  // namespace brellin::bench
