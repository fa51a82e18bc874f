#pragma once

#include "BrellinCore/store/Store.h"

#include <memory>

namespace brellin {

namespace HistoryStore {

/// Opens the history at this process's data directory, creating it where missing; nullptr when it cannot be
/// opened. A report opens it for the length of one call.
std::unique_ptr<Store> open();

}  // namespace HistoryStore

}  // namespace brellin
