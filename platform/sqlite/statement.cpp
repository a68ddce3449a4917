#include "platform/sqlite/statement.hpp"

#include <fmt/format.h>
#include <sqlite3.h>

#include "platform/sqlite/error.hpp"

namespace ravant::sqlite {

void Statement::prepare() {
  sqlite3_stmt* statement = nullptr;
  const int code = sqlite3_prepare_v3(connection_, sql_.data(), static_cast<int>(sql_.size()),
                                      SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  handle_.reset(statement);
  if (code != SQLITE_OK) throwError(connection_, code);
  sql_ = {};
}

void Statement::Finalize::operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }

void Statement::check(int code) const {
  if (code != SQLITE_OK) throwError(connection_, code);
}

void Statement::expectParameters(std::size_t count) const {
  const auto expected = static_cast<std::size_t>(sqlite3_bind_parameter_count(handle_.get()));
  if (count == expected) return;
  throw Error(SQLITE_RANGE,
              fmt::format("{} values for {} parameters: {}", count, expected, sqlite3_sql(handle_.get())));
}

void Statement::bindInteger(int index, std::int64_t value) { check(sqlite3_bind_int64(handle_.get(), index, value)); }

void Statement::bindReal(int index, double value) { check(sqlite3_bind_double(handle_.get(), index, value)); }

void Statement::bindNull(int index) { check(sqlite3_bind_null(handle_.get(), index)); }

void Statement::bindText(int index, std::string_view value, Lifetime lifetime) {
  const char* text = value.data() ? value.data() : "";  // SQLite takes a null pointer for NULL
  check(sqlite3_bind_text64(handle_.get(), index, text, value.size(),
                            lifetime == Lifetime::temporary ? SQLITE_TRANSIENT : SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::bindBlob(int index, Blob value, Lifetime lifetime) {
  const void* bytes = value.data() ? static_cast<const void*>(value.data()) : "";
  check(sqlite3_bind_blob64(handle_.get(), index, bytes, value.size(),
                            lifetime == Lifetime::temporary ? SQLITE_TRANSIENT : SQLITE_STATIC));
}

bool Statement::step() {
  const int code = sqlite3_step(handle_.get());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  throwError(connection_, code);
}

void Statement::runToEnd() {
  const Query query(*this);
  while (step()) {
  }
}

void Statement::reset() noexcept {
  sqlite3_reset(handle_.get());
  sqlite3_clear_bindings(handle_.get());
}

bool Query::isNull(int column) const { return sqlite3_column_type(statement_.handle_.get(), column) == SQLITE_NULL; }

std::int64_t Query::int64(int column) const { return sqlite3_column_int64(statement_.handle_.get(), column); }

double Query::real(int column) const { return sqlite3_column_double(statement_.handle_.get(), column); }

std::string_view Query::text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.handle_.get(), column));
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_.handle_.get(), column))};
}

Blob Query::blob(int column) const {
  const auto* bytes = static_cast<const std::byte*>(sqlite3_column_blob(statement_.handle_.get(), column));
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_.handle_.get(), column))};
}

}  // namespace ravant::sqlite
