#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "core/store/change_feed.hpp"
#include "core/store/disk_reserve.hpp"
#include "core/store/schema.hpp"
#include "core/store/store_error.hpp"
#include "core/store/store_file.hpp"
#include "core/store/store_lock.hpp"
#include "core/store/store_upgrade.hpp"
#include "core/store/unstored_ends.hpp"
#include "platform/async/async.hpp"
#include "platform/clock/clock.hpp"
#include "platform/process/process_ledger.hpp"
#include "platform/process/unique_fd.hpp"
#include "platform/sqlite/database.hpp"

namespace ravant {

struct ModelContainerOptions {
  std::filesystem::path folder;
  any_io_executor work;  ///< where store actors run; blocking is fine there
  std::shared_ptr<const Clock> clock;
  std::shared_ptr<const ProcessLedger> processes;  ///< tells which process a running prompt belongs to
  std::span<const Migration> migrations = ravant::migrations();
  /// The largest entry that the store takes, in bytes, with the agent's own record; SQLite's limit where it is absent.
  std::optional<std::int32_t> largestEntry = {};
};

/// The one store of a data folder. Every store actor gets its own connection from it.
///
/// Several processes may have the same store open and write to it. Constant after opening, so it may
/// be used from any thread.
class ModelContainer {
 public:
  /// Opens the store; creates it where there is none; upgrades an older one on a verified copy and
  /// keeps the previous file beside it. Checks the file: always that it is a store of this version,
  /// and its whole content when `thorough` or the last whole check is a day old, for a bounded time.
  /// Blocks. Throws `StoreError`; the file is then as it was.
  ///
  /// A store that cannot be written, by rights or for want of room, is opened for reading.
  enum class Check { usual, thorough };
  static std::shared_ptr<ModelContainer> open(ModelContainerOptions options, Check check = Check::usual);

  ModelContainer(ModelContainerOptions options, Check check);

  /// A connection for one actor. Throws `StoreError`.
  sqlite::Database connect() const;
  /// Takes a connection, without statements, that its actor needs no more, for the next `connect`: opening one anew
  /// reads the whole schema.
  void giveBack(sqlite::Database connection) const;

  bool isWritable() const { return storeFile_->isWritable(); }

  /// Throws `StoreError` `replaced` when the file is no longer the one that was opened.
  void expectInPlace() const;
  /// Throws `StoreError` `busy` when a file that is read as if nobody changed it was changed.
  void expectUnchanged() const;

  /// Gives up the space that is kept for a full disk; false where there is none. It is kept again by `keepReserveAgain`
  /// after a commit, once there is room, and from what room there is when the store is closed or opened.
  bool releaseReserve() { return reserve_.release(); }
  void keepReserveAgain() { reserve_.keepAgain(); }

  /// What an error of the database layer means for this store.
  StoreError explained(const sqlite::Error& error) const;

  /// Wakes the observers of this and other processes; called after a commit.
  void announceCommit() const;

  /// What was committed, for observers.
  const std::shared_ptr<ChangeFeed>& changeFeed() const { return changeFeed_; }

  const std::shared_ptr<UnstoredEnds>& unstoredEnds() const { return unstoredEnds_; }

  const any_io_executor& work() const { return options_.work; }
  const Clock& clock() const { return *options_.clock; }
  const ProcessLedger& processes() const { return *options_.processes; }
  const std::filesystem::path& file() const { return file_; }

 private:
  void prepareFile();
  /// Opens the file where there is one.
  StoreFormat openFile();
  void checkContent(sqlite::Database& database, Check check);

  ModelContainerOptions options_;
  std::filesystem::path file_;
  DiskReserve reserve_;
  StoreLock lock_;
  std::optional<StoreFile> storeFile_;
  mutable std::mutex spareMutex_;
  mutable std::optional<sqlite::Database> spare_;
  UniqueFd notice_;
  std::shared_ptr<ChangeFeed> changeFeed_;
  std::shared_ptr<UnstoredEnds> unstoredEnds_ = std::make_shared<UnstoredEnds>();
};

}  // namespace ravant
