#pragma once

#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "platform/sqlite/database.hpp"

namespace ravant {

class DiskReserve;
class ScratchFolder;

/// A store's file, opened as well as this process can: where it cannot be written it is still read.
///
/// SQLite reads a write-ahead log through a shared file beside it. Where that file can neither be opened nor made, a
/// store whose log is empty is read by itself, and any other from a private copy of both.
class StoreFile {
 public:
  /// Gives up `reserve` where opening needs room. Throws `sqlite::Error` and `std::system_error`.
  StoreFile(std::filesystem::path path, std::optional<std::int32_t> largestRow, DiskReserve& reserve);

  /// Throws `sqlite::Error`.
  sqlite::Database connect() const;

  /// The connection that it was opened with. It stays open until it is taken: with the last one SQLite removes its log,
  /// and every other one has to read the schema anew.
  sqlite::Database& connection() { return *connection_; }
  sqlite::Database takeConnection() { return *std::exchange(connection_, std::nullopt); }

  const std::filesystem::path& path() const { return path_; }
  bool isWritable() const { return access_ == Access::readWrite; }
  /// Why it could not be opened in place; empty where it was.
  const std::string& obstacle() const { return obstacle_; }
  /// Whether the file at the path is the one that was opened.
  bool isInPlace() const;
  /// Whether what is read is still what was opened; always so where writers are seen.
  bool isUnchanged() const;

 private:
  enum class Access { readWrite, readOnly, unchanging, privateCopy };

  /// What tells one content of a file from another.
  using Stamp = std::tuple<dev_t, ino_t, off_t, std::int64_t, std::int64_t>;
  static Stamp stampOf(const std::filesystem::path& file);

  bool canOpenInPlace(DiskReserve& reserve);
  void openInPlace();
  std::filesystem::path log() const;

  std::filesystem::path path_;
  std::optional<std::int32_t> largestRow_;
  Access access_ = Access::readWrite;
  std::string obstacle_;
  Stamp opened_;
  Stamp openedLog_;
  std::shared_ptr<const ScratchFolder> copy_;
  std::optional<sqlite::Database> connection_;
};

}  // namespace ravant
