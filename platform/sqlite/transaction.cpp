#include "platform/sqlite/transaction.hpp"

namespace ravant::sqlite {
namespace {

void prepare(Statement& statement) { static_cast<void>(statement.query()); }

}  // namespace

Transaction::Transaction(Database& database, Kind kind) : database_(database) {
  auto& statements = *database_.statements_;
  // What ends it is there before it begins: otherwise the connection could be left inside it.
  prepare(statements.commit);
  prepare(statements.rollback);
  (kind == Kind::write ? statements.beginWrite : statements.beginRead).run();
}

Transaction::~Transaction() {
  if (committed_ || !database_.isInTransaction()) return;
  try {
    database_.statements_->rollback.run();
  } catch (const Error&) {
    // A failed rollback has still ended the transaction: SQLite undoes it when the file is next opened.
  }
}

void Transaction::commit() {
  database_.statements_->commit.run();
  committed_ = true;
}

}  // namespace ravant::sqlite
