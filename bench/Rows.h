#pragma once

#include "bench/Comparison.h"
#include "bench/Table.h"

namespace brellin::bench {

/// Each measures its rows and adds them to the table.
void addProtocolRows(Table& table, const Patience& patience);
void addReportRows(Table& table, const Patience& patience);
void addJsonRows(Table& table, const Patience& patience);
void addRecordRows(Table& table, const Patience& patience);
void addHistoryRows(Table& table, const Patience& patience);
void addInProcessRows(Table& table, const Patience& patience);

}  // namespace brellin::bench
