#include "bench/Table.h"

#include <fmt/format.h>

#include <cstdio>

namespace brellin::bench {

namespace {

constexpr std::string_view layout = "| {:<44} | {:>9} | {:>9} | {:>6} | {:>6} | {:<3} | {:<50} |\n";

std::string text(Seconds time) {
    const double nanoseconds = time.count() * 1e9;
    if (nanoseconds < 1e4) {
        return fmt::format("{:.0f} ns", nanoseconds);
    }
    if (nanoseconds < 1e7) {
        return fmt::format("{:.1f} µs", nanoseconds / 1e3);
    }
    return fmt::format("{:.1f} ms", nanoseconds / 1e6);
}

std::string size(long kilobytes) {
    return kilobytes < 1024 ? fmt::format("{} kB", kilobytes)
                            : fmt::format("{:.1f} MB", static_cast<double>(kilobytes) / 1024);
}

}  // namespace

Table::Table() {
    fmt::print(layout, "row", "ours", "floor", "ratio", "aim", "met", "the floor is");
    fmt::print("|{:-<46}|{:->10}:|{:->10}:|{:->7}:|{:->7}:|{:-<5}|{:-<52}|\n", "", "", "", "", "", "", "");
}

void Table::add(std::string_view what, std::string_view floor, const Comparison& comparison, double aim) {
    print(what, text(comparison.ours), text(comparison.floor), fmt::format("{:.2f}x", comparison.ratio),
          fmt::format("{:.2f}x", aim), comparison.ratio <= aim, floor);
}

void Table::addSize(std::string_view what, long kilobytes, long aimedKilobytes) {
    print(what, size(kilobytes), "", "", size(aimedKilobytes), kilobytes <= aimedKilobytes, "none");
}

void Table::print(std::string_view what, std::string_view ours, std::string_view floor,
                  std::string_view result, std::string_view aim, bool isMet, std::string_view floorIs) {
    fmt::print(layout, what, ours, floor, result, aim, isMet ? "yes" : "NO", floorIs);
    std::fflush(stdout);
    missed_ += isMet ? 0 : 1;
}

}  // namespace brellin::bench
