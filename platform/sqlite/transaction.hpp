#pragma once

#include "platform/sqlite/database.hpp"

namespace ravant::sqlite {

/// A transaction, undone unless `commit` returned.
class Transaction {
 public:
  /// `write` takes the write lock at once, waiting for it up to the busy timeout, so that nothing later in the
  /// transaction finds the database busy. `read` shows one state of the database throughout.
  enum class Kind { read, write };

  explicit Transaction(Database& database, Kind kind = Kind::write);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

 private:
  Database& database_;
  bool committed_ = false;
};

}  // namespace ravant::sqlite
