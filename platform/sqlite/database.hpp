#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/sqlite/error.hpp"
#include "platform/sqlite/statement.hpp"

namespace ravant::sqlite {

enum class Access {
  create,
  readWrite,
  readOnly,
  /// Read only, as if nobody could change the file while it is open, and without its log: the one way to read a
  /// database with a write-ahead log where nothing can be written beside it.
  readUnchanging,
};

struct OpenOptions {
  Access access = Access::create;
  /// How long a locked database is waited for before Error::Case::busy.
  std::chrono::milliseconds busyTimeout{10'000};
  /// The largest text or row, in bytes; SQLite's own limit where it is absent.
  std::optional<std::int32_t> largestRow = {};
};

/// When a commit reaches the disk: `normal` with the next checkpoint (a power cut can take the latest commits, never
/// more), `full` before it returns, together with every earlier one.
enum class Synchronous { normal, full };

enum class ForeignKeys { enforced, ignored };

/// Whether rows are held against CHECK constraints and fire triggers, or whoever writes them is sure of their values
/// and does himself what the triggers would.
enum class RowRules { applied, leftToWriter };

struct CheckResult {
  enum class Verdict { sound, faulty, notFinished };
  Verdict verdict;
  /// SQLite's description of the faults, one per line.
  std::string words;
};

/// One connection. Used by one thread at a time; another thread or process uses its own.
///
/// Opened with foreign keys enforced, deleted content overwritten where that is free (secure_delete FAST), no memory
/// mapping, temporary tables in memory. A new file is readable by its owner alone. The path is never read as a URI.
/// Every member throws Error.
class Database {
 public:
  explicit Database(const std::filesystem::path& file, OpenOptions options = {});

  Statement prepare(std::string_view sql) { return Statement(handle_.get(), sql); }
  /// Runs the statements of a constant script, separated by semicolons.
  void execute(const char* script);

  /// The journal of a store that is written often; refused (`other`) by a file system that cannot share memory.
  void useWriteAheadLog();
  /// Not inside a transaction. Costs nothing when it is already so.
  void setSynchronous(Synchronous synchronous);
  /// How long a locked database is waited for from now on.
  void setBusyTimeout(std::chrono::milliseconds timeout);
  /// Not inside a transaction.
  void setForeignKeys(ForeignKeys foreignKeys);
  /// Also inside a transaction, not while a query is open. Every statement is prepared again afterwards.
  void setRowRules(RowRules rules);

  std::int32_t userVersion() { return static_cast<std::int32_t>(pragma("PRAGMA user_version")); }
  void setUserVersion(std::int32_t version);
  std::int32_t applicationId() { return static_cast<std::int32_t>(pragma("PRAGMA application_id")); }
  void setApplicationId(std::int32_t id);

  /// A number that changes when another connection has committed.
  std::int64_t dataVersion();
  /// Rows inserted, changed or deleted by the latest statement, cascades left out.
  std::int64_t changes() const;
  std::int64_t lastInsertRowId() const;
  bool isInTransaction() const;
  /// Whether the file can only be read, however it was asked for.
  bool isReadOnly() const;

  /// Copies the database as of now into `path`, in one transaction there: after a failure an existing database at
  /// `path` is as it was.
  void backupTo(const std::filesystem::path& path);

  /// Reads the whole file for damage, for at most about `budget`.
  CheckResult integrityCheck(std::chrono::milliseconds budget) { return check("PRAGMA integrity_check", budget); }
  /// The same without comparing indexes with their tables, which takes most of the time.
  CheckResult quickCheck(std::chrono::milliseconds budget) { return check("PRAGMA quick_check", budget); }

 private:
  friend class Transaction;
  std::int64_t pragma(std::string_view sql);
  CheckResult check(std::string_view sql, std::chrono::milliseconds budget);

  struct Close {
    void operator()(sqlite3* connection) const noexcept;
  };
  struct TransactionStatements {
    explicit TransactionStatements(sqlite3* connection);
    Statement beginRead, beginWrite, commit, rollback, dataVersion;
  };
  std::unique_ptr<sqlite3, Close> handle_;
  std::unique_ptr<TransactionStatements> statements_;
  Synchronous synchronous_ = Synchronous::full;
};

}  // namespace ravant::sqlite
