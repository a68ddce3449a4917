#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;

namespace ravant::sqlite {

/// What SQLite refused. `what()` has SQLite's words and, for a failed system call, the operating system's.
class Error : public std::runtime_error {
 public:
  enum class Case {
    busy,
    full,
    readOnly,
    tooLarge,
    corrupt,
    corruptVirtualTable,
    notADatabase,
    cannotOpen,
    constraint,
    interrupted,
    ioError,
    other,
  };

  Error(int extendedCode, const std::string& words) : std::runtime_error(words), extendedCode_(extendedCode) {}

  Case reason() const noexcept;
  /// SQLite's extended result code, such as SQLITE_CONSTRAINT_UNIQUE.
  int extendedCode() const noexcept { return extendedCode_; }

 private:
  int extendedCode_;
};

/// Throws what `connection` reports for `code`, its latest result.
[[noreturn]] void throwError(sqlite3* connection, int code);

}  // namespace ravant::sqlite
