#include "BrellinCore/store/Pruning.h"

#include "BrellinCore/store/Statements.h"

namespace brellin::Pruning {

namespace {

std::int64_t bytes(const Database& history, const char* pages) {
    return history.number(pages).value_or(0) * history.number(Statements::pageSize).value_or(0);
}

}  // namespace

Result removeObservations(Database& history, std::int64_t before, const std::function<bool()>& isStopped) {
    const std::int64_t freeBefore = bytes(history, Statements::freePages);
    Result result;
    std::int64_t removed = 0;
    do {
        history.write(Statements::deleteOldObservations, {before});
        removed = history.changedRows();
        result.observations += removed;
    } while (removed > 0 && !isStopped());
    result.freedBytes = bytes(history, Statements::freePages) - freeBefore;
    return result;
}

std::int64_t vacuum(Database& history) {
    const std::int64_t before = bytes(history, Statements::pageCount);
    history.execute(Statements::vacuum);
    return before - bytes(history, Statements::pageCount);
}

}  // namespace brellin::Pruning
