#pragma once

#include <cstdint>
#include <vector>

#include "core/store/change_feed.hpp"
#include "platform/sqlite/database.hpp"

namespace ravant {

/// Writes the changes of a transaction into the store, inside that transaction. Only the latest
/// changes are kept.
class ChangeWriter {
 public:
  explicit ChangeWriter(sqlite::Database& database);

  void write(const std::vector<Change>& changes);

 private:
  sqlite::Database& database_;
  sqlite::Statement insert_;
  sqlite::Statement dropOld_;
};

/// Reads the recorded changes back.
class ChangeReader {
 public:
  explicit ChangeReader(sqlite::Database& database);

  std::int64_t lastSequence();

  /// What came after `sequence`, which becomes the last one read.
  ChangeBatch readAfter(std::int64_t& sequence);

 private:
  sqlite::Statement last_;
  sqlite::Statement first_;
  sqlite::Statement after_;
};

}  // namespace ravant
