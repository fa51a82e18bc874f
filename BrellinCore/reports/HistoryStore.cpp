#include "BrellinCore/reports/HistoryStore.h"

#include "BrellinCore/platform/Environment.h"
#include "BrellinCore/server/Paths.h"

#include <exception>

namespace brellin::HistoryStore {

std::unique_ptr<Store> open() {
    try {
        return std::make_unique<Store>(Paths::root(processEnvironment()));
    } catch (const std::exception&) {
        return nullptr;
    }
}

}  // namespace brellin::HistoryStore
