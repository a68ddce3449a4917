#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/store/change_feed.hpp"
#include "core/store/change_record.hpp"
#include "core/store/model_container.hpp"
#include "core/store/store_error.hpp"
#include "platform/sqlite/transaction.hpp"

namespace ravant {

/// What a committed operation survives: the death of this process, or a power cut too. The latter
/// waits for the disk and makes everything committed before it as safe.
enum class Durability { processDeath, powerCut };

/// Whether an operation may use the space that is kept for a full disk. What ends or removes something may: it makes
/// things better, and is what a user does then.
enum class FullDisk { fails, takesReserve };

/// What an operation changed, collected while it runs.
class Changes {
 public:
  void inserted(Change::EntityId entity, std::optional<ConversationId> conversation = {}) {
    all_.push_back({std::move(entity), ChangeOperation::inserted, std::move(conversation)});
  }
  void updated(Change::EntityId entity, std::optional<ConversationId> conversation = {}) {
    all_.push_back({std::move(entity), ChangeOperation::updated, std::move(conversation)});
  }
  void removed(Change::EntityId entity, std::optional<ConversationId> conversation = {}) {
    all_.push_back({std::move(entity), ChangeOperation::removed, std::move(conversation)});
  }

  const std::vector<Change>& all() const { return all_; }

 private:
  std::vector<Change> all_;
};

/// One store actor's own connection. Each operation is one transaction: all of it is stored, and
/// announced, when `write` returns, or none of it.
class StoreConnection {
 public:
  explicit StoreConnection(std::shared_ptr<ModelContainer> container)
      : container_(std::move(container)), lent_(*container_), database_(lent_.database), changeWriter_(database_) {}

  /// How long another writer is waited for from now on; then `write` throws `StoreError` `busy`.
  void waitAtMost(std::chrono::milliseconds limit) { database_.setBusyTimeout(limit); }
  sqlite::Statement prepare(std::string_view sql) { return database_.prepare(sql); }
  /// Runs a constant script, in the body of a `write`.
  void execute(std::string_view script) { database_.execute(std::string(script).c_str()); }
  std::int64_t lastInsertRowId() const { return database_.lastInsertRowId(); }
  Timestamp now() const { return container_->clock().now(); }
  /// A number that changes when another connection has committed.
  std::int64_t dataVersion() {
    return translated([&] { return database_.dataVersion(); });
  }
  const ModelContainer& container() const { return *container_; }

  /// Runs `body(Changes&)` in a transaction of its own and returns its result. Throws `StoreError`;
  /// whatever is thrown undoes everything. With `takesReserve` the body may run a second time.
  template <class Body>
  auto write(Durability durability, Body body, FullDisk fullDisk = FullDisk::fails) {
    return translated([&] {
      try {
        return transact(durability, body);
      } catch (const sqlite::Error& error) {
        const bool mayTryAgain = fullDisk == FullDisk::takesReserve && error.reason() == sqlite::Error::Case::full;
        if (!mayTryAgain || !container_->releaseReserve()) throw;
      }
      return transact(durability, body);
    });
  }

  /// Within `write`: runs `body()` without the CHECKs and triggers of the schema, for which the body answers. Worth it
  /// for many rows alone.
  template <class Body>
  auto withoutRowRules(Body body) {
    database_.setRowRules(sqlite::RowRules::leftToWriter);
    try {
      auto result = body();
      database_.setRowRules(sqlite::RowRules::applied);
      return result;
    } catch (...) {
      database_.setRowRules(sqlite::RowRules::applied);
      throw;
    }
  }

  /// Moves what was committed out of the log and gives its room back. Throws `StoreError`.
  void emptyLog() {
    translated([&] { database_.execute("PRAGMA wal_checkpoint(TRUNCATE)"); });
  }

  /// Runs `body()` on one state of the store. Throws `StoreError`.
  template <class Body>
  auto read(Body body) {
    return translated([&] {
      const sqlite::Transaction transaction(database_, sqlite::Transaction::Kind::read);
      auto result = body();
      container_->expectUnchanged();
      return result;
    });
  }

 private:
  template <class Body>
  auto transact(Durability durability, Body& body) {
    database_.setSynchronous(durability == Durability::powerCut ? sqlite::Synchronous::full
                                                                : sqlite::Synchronous::normal);
    sqlite::Transaction transaction(database_);
    Changes changes;
    if constexpr (std::is_void_v<std::invoke_result_t<Body, Changes&>>) {
      body(changes);
      commit(transaction, changes);
    } else {
      auto result = body(changes);
      commit(transaction, changes);
      return result;
    }
  }

  template <class Body>
  std::invoke_result_t<Body> translated(Body body) {
    try {
      return body();
    } catch (const sqlite::Error& error) {
      throw container_->explained(error);
    }
  }

  void commit(sqlite::Transaction& transaction, const Changes& changes) {
    container_->expectInPlace();
    changeWriter_.write(changes.all());
    transaction.commit();
    container_->keepReserveAgain();
    if (!changes.all().empty()) container_->announceCommit();
  }

  struct Lent {
    explicit Lent(const ModelContainer& from) : container(from), database(from.connect()) {}
    ~Lent() { container.giveBack(std::move(database)); }
    Lent(const Lent&) = delete;
    Lent& operator=(const Lent&) = delete;

    const ModelContainer& container;
    sqlite::Database database;
  };

  std::shared_ptr<ModelContainer> container_;
  Lent lent_;
  sqlite::Database& database_;
  ChangeWriter changeWriter_;
};

}  // namespace ravant
