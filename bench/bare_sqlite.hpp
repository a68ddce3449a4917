#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace ravant::bench {

// SQLite with nothing around it but what C++ needs, to compare our own layer with.

struct Blob {
  std::string_view bytes;
};

class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql) : database_(database) {
    check(sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &handle_,
                             nullptr));
  }
  ~Statement() { sqlite3_finalize(handle_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  template <class... Values>
  std::int64_t operator()(const Values&... values) {
    int index = 0;
    (bind(++index, values), ...);
    const int code = sqlite3_step(handle_);
    const std::int64_t value = code == SQLITE_ROW ? sqlite3_column_int64(handle_, 0) : 0;
    check(sqlite3_reset(handle_));
    return value;
  }

 private:
  void bind(int index, std::int64_t value) { sqlite3_bind_int64(handle_, index, value); }
  void bind(int index, std::nullptr_t) { sqlite3_bind_null(handle_, index); }
  void bind(int index, std::string_view text) {
    sqlite3_bind_text(handle_, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  }
  void bind(int index, Blob blob) {
    sqlite3_bind_blob(handle_, index, blob.bytes.data(), static_cast<int>(blob.bytes.size()), SQLITE_STATIC);
  }
  void check(int code) const {
    if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(database_));
  }

  sqlite3* database_;
  sqlite3_stmt* handle_ = nullptr;
};

class Database {
 public:
  explicit Database(const char* file) {
    sqlite3_open_v2(file, &handle_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    execute("PRAGMA foreign_keys = ON; PRAGMA secure_delete = FAST; PRAGMA mmap_size = 0; PRAGMA synchronous = NORMAL");
  }
  ~Database() { sqlite3_close_v2(handle_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void execute(const char* sql) {
    if (sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(handle_));
    }
  }
  Statement prepare(std::string_view sql) { return {handle_, sql}; }
  std::int64_t lastRow() const { return sqlite3_last_insert_rowid(handle_); }

 private:
  sqlite3* handle_ = nullptr;
};

}  // namespace ravant::bench
