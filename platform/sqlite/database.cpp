#include "platform/sqlite/database.hpp"

#include <fmt/format.h>
#include <sqlite3.h>

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

namespace ravant::sqlite {
namespace {

constexpr std::chrono::milliseconds kInterruptInterval{10};

int openFlags(Access access) {
  constexpr int kAlways = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
  switch (access) {
    case Access::create:
      return kAlways | SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    case Access::readWrite:
      return kAlways | SQLITE_OPEN_READWRITE;
    case Access::readOnly:
      return kAlways | SQLITE_OPEN_READONLY;
    case Access::readUnchanging:
      return kAlways | SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
  }
}

/// What SQLite is to open. Only a URI can say that a file does not change.
std::string openName(const std::filesystem::path& path, Access access) {
  if (access != Access::readUnchanging) return path.string();
  std::string uri = "file:";
  for (const char c : path.string()) {
    if (c == '%' || c == '?' || c == '#') {
      uri += fmt::format("%{:02X}", c);
    } else {
      uri += c;
    }
  }
  return uri + "?immutable=1";
}

/// Nobody asks SQLite how much memory it has, and counting it takes a lock for each piece.
void leaveMemoryUncounted() {
  static const int isLeft = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  static_cast<void>(isLeft);
}

/// Interrupts what a connection is running when the time is up, from a thread of its own: one step of a check of a
/// large file can take seconds. Again and again, for SQLite forgets an interruption that comes before the first step.
std::jthread interruptAfter(sqlite3* connection, std::chrono::milliseconds budget) {
  return std::jthread([connection, budget](const std::stop_token& stop) {
    std::mutex mutex;
    std::condition_variable_any stopped;
    std::unique_lock lock(mutex);
    for (auto wait = budget; !stopped.wait_for(lock, stop, wait, [&] { return stop.stop_requested(); });
         wait = kInterruptInterval) {
      sqlite3_interrupt(connection);
    }
  });
}

}  // namespace

void Database::Close::operator()(sqlite3* connection) const noexcept { sqlite3_close_v2(connection); }

Database::TransactionStatements::TransactionStatements(sqlite3* connection)
    : beginRead(connection, "BEGIN"),
      beginWrite(connection, "BEGIN IMMEDIATE"),
      commit(connection, "COMMIT"),
      rollback(connection, "ROLLBACK"),
      dataVersion(connection, "PRAGMA data_version") {}

Database::Database(const std::filesystem::path& file, OpenOptions options) {
  leaveMemoryUncounted();
  // Debian's SQLite takes every name that begins with "file:" for a URI.
  const std::filesystem::path path = std::filesystem::absolute(file);
  const bool isNew = options.access == Access::create && !std::filesystem::exists(path);
  sqlite3* connection = nullptr;
  const int code =
      sqlite3_open_v2(openName(path, options.access).c_str(), &connection, openFlags(options.access), nullptr);
  handle_.reset(connection);
  if (code != SQLITE_OK) throwError(connection, code);
  if (isNew) {
    std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }
  if (options.largestRow) sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, *options.largestRow);
  setBusyTimeout(options.busyTimeout);
  setForeignKeys(ForeignKeys::enforced);
  execute("PRAGMA secure_delete = FAST; PRAGMA mmap_size = 0; PRAGMA temp_store = MEMORY");
  statements_ = std::make_unique<TransactionStatements>(connection);
}

void Database::setBusyTimeout(std::chrono::milliseconds timeout) {
  sqlite3_busy_timeout(handle_.get(), static_cast<int>(timeout.count()));
}

void Database::execute(const char* script) {
  const int code = sqlite3_exec(handle_.get(), script, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) throwError(handle_.get(), code);
}

void Database::useWriteAheadLog() {
  Statement statement = prepare("PRAGMA journal_mode = WAL");
  Query query = statement.query();
  if (query.step() && query.text(0) == "wal") return;
  throw Error(SQLITE_ERROR, fmt::format("The journal mode stayed {}.", query.text(0)));
}

void Database::setSynchronous(Synchronous synchronous) {
  if (synchronous == synchronous_) return;
  execute(synchronous == Synchronous::full ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
  synchronous_ = synchronous;
}

void Database::setForeignKeys(ForeignKeys foreignKeys) {
  const int on = foreignKeys == ForeignKeys::enforced ? 1 : 0;
  const int code = sqlite3_db_config(handle_.get(), SQLITE_DBCONFIG_ENABLE_FKEY, on, nullptr);
  if (code != SQLITE_OK) throwError(handle_.get(), code);
}

void Database::setRowRules(RowRules rules) {
  const bool areApplied = rules == RowRules::applied;
  // Triggers never stay off where the rest fails.
  if (!areApplied) execute("PRAGMA ignore_check_constraints = ON");
  sqlite3_db_config(handle_.get(), SQLITE_DBCONFIG_ENABLE_TRIGGER, areApplied ? 1 : 0, static_cast<int*>(nullptr));
  if (areApplied) execute("PRAGMA ignore_check_constraints = OFF");
}

void Database::setUserVersion(std::int32_t version) {
  execute(fmt::format("PRAGMA user_version = {}", version).c_str());
}

void Database::setApplicationId(std::int32_t id) { execute(fmt::format("PRAGMA application_id = {}", id).c_str()); }

std::int64_t Database::dataVersion() {
  Query query = statements_->dataVersion.query();
  query.step();
  return query.int64(0);
}

std::int64_t Database::changes() const { return sqlite3_changes64(handle_.get()); }

std::int64_t Database::lastInsertRowId() const { return sqlite3_last_insert_rowid(handle_.get()); }

bool Database::isInTransaction() const { return sqlite3_get_autocommit(handle_.get()) == 0; }

bool Database::isReadOnly() const { return sqlite3_db_readonly(handle_.get(), "main") == 1; }

void Database::backupTo(const std::filesystem::path& path) {
  Database target(path);
  sqlite3_backup* backup = sqlite3_backup_init(target.handle_.get(), "main", handle_.get(), "main");
  if (!backup) throwError(target.handle_.get(), sqlite3_extended_errcode(target.handle_.get()));
  const int step = sqlite3_backup_step(backup, -1);
  const int finish = sqlite3_backup_finish(backup);
  if (finish != SQLITE_OK) throwError(target.handle_.get(), finish);
  if (step != SQLITE_DONE) throwError(handle_.get(), step);
}

std::int64_t Database::pragma(std::string_view sql) {
  Statement statement = prepare(sql);
  Query query = statement.query();
  query.step();
  return query.int64(0);
}

CheckResult Database::check(std::string_view sql, std::chrono::milliseconds budget) {
  using Verdict = CheckResult::Verdict;
  Statement statement = prepare(sql);
  std::string words;
  try {
    const std::jthread timer = interruptAfter(handle_.get(), budget);
    Query query = statement.query();
    while (query.step()) {
      if (!words.empty()) words += '\n';
      words += query.text(0);
    }
  } catch (const Error& error) {
    switch (error.reason()) {
      case Error::Case::interrupted:
        return {Verdict::notFinished, words};
      case Error::Case::corrupt:
      case Error::Case::notADatabase:
        return {Verdict::faulty, error.what()};
      default:
        throw;
    }
  }
  return words == "ok" ? CheckResult{Verdict::sound, {}} : CheckResult{Verdict::faulty, words};
}

}  // namespace ravant::sqlite
