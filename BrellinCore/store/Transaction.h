#pragma once

#include "BrellinCore/store/Database.h"

namespace brellin {

/// Everything that is written while it lives becomes part of the history at once, or not at all: what is
/// not committed when it ends, a crash included, has never been written.
class Transaction {
  public:
    /// Takes the right to write, so that no other process writes until the end.
    ///
    /// @throws StoreError (step) another process has that right
    explicit Transaction(Database& database);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();

    /// @throws StoreError (step) the disk is full, or the like; nothing has been written then
    void commit();

  private:
    Database& database_;
    bool isOpen_ = true;
};

}  // namespace brellin
