#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/clock/clock.hpp"

namespace ravant {

/// What the names of the files end in that SQLite has beside a database; they belong to it and move with it.
inline constexpr std::array<std::string_view, 3> kJournals = {"-wal", "-shm", "-journal"};

/// The name of a database with `ending` behind it.
std::filesystem::path withEnding(const std::filesystem::path& database, std::string_view ending);

void removeWithJournals(const std::filesystem::path& database);

/// Waits until the file, or what a folder lists, is on the disk. Throws `std::system_error`.
void syncToDisk(const std::filesystem::path& path);

/// Under what name an upgrade keeps the previous file of a store: beside it, with its version and the time.
struct KeptStore {
  int version;
  Timestamp upgradedAt;  ///< to the second

  std::filesystem::path nameFor(const std::filesystem::path& store) const;
  /// Nothing for another name.
  static std::optional<KeptStore> read(const std::filesystem::path& name, const std::filesystem::path& store);
};

/// A time to the second, as the names of files have it: `2026-11-21T091416`, UTC.
std::string fileTime(Timestamp time);

}  // namespace ravant
