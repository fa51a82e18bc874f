#pragma once

#include "bench/Comparison.h"

#include <string>
#include <string_view>

namespace brellin::bench {

/// The one table that a run prints, in Markdown; each row goes out as soon as it is measured.
class Table {
  public:
    /// Prints the head.
    Table();

    /// @param what  what was measured
    /// @param floor what it was measured against
    /// @param aim   the ratio that should not be exceeded
    void add(std::string_view what, std::string_view floor, const Comparison& comparison, double aim);

    /// A row about a size, in memory or on the disk, which has no floor.
    void addSize(std::string_view what, long kilobytes, long aimedKilobytes);

    int missed() const { return missed_; }

  private:
    void print(std::string_view what, std::string_view ours, std::string_view floor,
               std::string_view result, std::string_view aim, bool isMet, std::string_view floorIs);

    int missed_ = 0;
};

}  // namespace brellin::bench
