#include "platform/sqlite/error.hpp"

#include <fmt/format.h>
#include <sqlite3.h>

#include <cerrno>
#include <cstring>

namespace ravant::sqlite {

Error::Case Error::reason() const noexcept {
  if (extendedCode_ == SQLITE_CORRUPT_VTAB) return Case::corruptVirtualTable;
  switch (extendedCode_ & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return Case::busy;
    case SQLITE_FULL:
      return Case::full;
    case SQLITE_READONLY:
      return Case::readOnly;
    case SQLITE_TOOBIG:
      return Case::tooLarge;
    case SQLITE_CORRUPT:
      return Case::corrupt;
    case SQLITE_NOTADB:
      return Case::notADatabase;
    case SQLITE_CANTOPEN:
      return Case::cannotOpen;
    case SQLITE_CONSTRAINT:
      return Case::constraint;
    case SQLITE_INTERRUPT:
      return Case::interrupted;
    case SQLITE_IOERR:
      return Case::ioError;
    default:
      return Case::other;
  }
}

void throwError(sqlite3* connection, int code) {
  std::string words =
      connection && sqlite3_extended_errcode(connection) == code ? sqlite3_errmsg(connection) : sqlite3_errstr(code);
  const int systemError = connection ? sqlite3_system_errno(connection) : 0;
  const int primary = code & 0xFF;
  if (systemError != 0 && (primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN || primary == SQLITE_FULL)) {
    words += fmt::format(": {}", std::strerror(systemError));
  }
  if (primary == SQLITE_TOOBIG && connection) {
    words += fmt::format(", the limit is {} bytes", sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, -1));
  }
  // SQLite reports a full disk as such only where it writes the database itself.
  if (primary == SQLITE_IOERR && (systemError == ENOSPC || systemError == EDQUOT)) code = SQLITE_FULL;
  throw Error(code, fmt::format("{} (SQLite {})", words, code));
}

}  // namespace ravant::sqlite
