#include "BrellinCore/store/Transaction.h"

namespace brellin {

Transaction::Transaction(Database& database) : database_(database) {
    database_.execute("BEGIN IMMEDIATE;");
}

Transaction::~Transaction() {
    if (!isOpen_) {
        return;
    }
    try {
        database_.execute("ROLLBACK;");
    } catch (const StoreError&) {
        return;  // SQLite has rolled it back itself, as it does after some errors
    }
}

void Transaction::commit() {
    database_.execute("COMMIT;");
    isOpen_ = false;
}

}  // namespace brellin
