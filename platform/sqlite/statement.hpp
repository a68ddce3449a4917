#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace ravant::sqlite {

using Blob = std::span<const std::byte>;

template <class T>
concept Integer = std::integral<T> && !std::same_as<T, bool> && (std::signed_integral<T> || sizeof(T) < 8);

class Query;

/// A statement, kept beside the operations that use it. It is prepared when it is first run, so that a program that
/// needs few of them waits for few; running it again parses nothing and copies only what SQLite must keep.
///
/// Values are bound in order: integers, bool (0 or 1), double, text, Blob, nullptr, and optionals of these.
/// Belongs to its Database's thread. Every member throws Error.
class Statement {
 public:
  Statement(sqlite3* connection, std::string_view sql) : connection_(connection), sql_(sql) {}

  /// Runs to the end, ignoring rows, and is ready for the next run.
  template <class... Values>
  void run(const Values&... values) {
    bindAll(Lifetime::outlivesStep, values...);
    runToEnd();
  }

  /// Starts reading rows. The values are copied; only one query of a statement can be open.
  template <class... Values>
  [[nodiscard]] Query query(const Values&... values);

 private:
  friend class Query;
  enum class Lifetime { temporary, outlivesStep };

  template <class... Values>
  void bindAll(Lifetime lifetime, const Values&... values) {
    if (!handle_) prepare();
    expectParameters(sizeof...(values));
    int index = 0;
    (bind(++index, values, lifetime), ...);
  }
  template <class T>
  void bind(int index, const std::optional<T>& value, Lifetime lifetime) {
    value ? bind(index, *value, lifetime) : bind(index, nullptr, lifetime);
  }
  template <Integer T>
  void bind(int index, T value, Lifetime) {
    bindInteger(index, static_cast<std::int64_t>(value));
  }
  void bind(int index, std::same_as<bool> auto value, Lifetime) { bindInteger(index, value ? 1 : 0); }
  void bind(int index, std::same_as<double> auto value, Lifetime) { bindReal(index, value); }
  void bind(int index, std::nullptr_t, Lifetime) { bindNull(index); }
  void bind(int index, std::string_view value, Lifetime lifetime) { bindText(index, value, lifetime); }
  void bind(int index, Blob value, Lifetime lifetime) { bindBlob(index, value, lifetime); }

  void prepare();
  void expectParameters(std::size_t count) const;
  void bindInteger(int index, std::int64_t value);
  void bindReal(int index, double value);
  void bindNull(int index);
  void bindText(int index, std::string_view value, Lifetime lifetime);
  void bindBlob(int index, Blob value, Lifetime lifetime);
  void check(int code) const;
  bool step();
  void runToEnd();
  void reset() noexcept;

  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };

  sqlite3* connection_;
  std::string sql_;  ///< until it is prepared
  std::unique_ptr<sqlite3_stmt, Finalize> handle_;
};

/// The rows of a statement that is running; the statement is ready for its next use when this ends.
///
/// Columns count from 0. Text and blobs are valid until the next step.
class Query {
 public:
  explicit Query(Statement& statement) : statement_(statement) {}
  ~Query() { statement_.reset(); }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  /// Goes to the next row; false when there is none.
  bool step() { return statement_.step(); }

  bool isNull(int column) const;
  bool boolean(int column) const { return int64(column) != 0; }
  std::int64_t int64(int column) const;
  double real(int column) const;
  std::string_view text(int column) const;
  Blob blob(int column) const;

  std::optional<bool> optionalBoolean(int column) const { return optional(column, &Query::boolean); }
  std::optional<std::int64_t> optionalInt64(int column) const { return optional(column, &Query::int64); }
  std::optional<double> optionalReal(int column) const { return optional(column, &Query::real); }
  std::optional<std::string_view> optionalText(int column) const { return optional(column, &Query::text); }
  std::optional<Blob> optionalBlob(int column) const { return optional(column, &Query::blob); }

 private:
  template <class T>
  std::optional<T> optional(int column, T (Query::*read)(int) const) const {
    if (isNull(column)) return std::nullopt;
    return (this->*read)(column);
  }

  Statement& statement_;
};

template <class... Values>
Query Statement::query(const Values&... values) {
  bindAll(Lifetime::temporary, values...);
  return Query(*this);
}

}  // namespace ravant::sqlite
