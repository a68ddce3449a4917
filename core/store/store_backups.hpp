#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/store/schema.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// A previous file of a store, which an upgrade kept beside it.
struct StoreBackup {
  std::filesystem::path file;
  int version;
  Timestamp madeAt;
  std::optional<std::string> fault;  ///< why it cannot be put back, in words; nothing where it can
};

/// Those in the data folder, the newest first. Each is opened and its content looked through, for about `limit` at
/// most; nothing is written. Blocks.
std::vector<StoreBackup> storeBackups(const std::filesystem::path& folder,
                                      std::chrono::milliseconds limit = std::chrono::seconds(2),
                                      std::span<const Migration> steps = migrations());

struct RestoredStore {
  /// Where the store's previous files are; nothing where there were none.
  std::optional<std::filesystem::path> setAside;
};

/// Puts a copy of `backup`, any file of a store with its log, in the place of the data folder's store, which an older
/// version's is upgraded by whoever opens it next. The store that was there keeps its files under another name, with
/// the time; nothing is deleted or written over. The copy is checked whole before. However it ends, a kill and a power
/// cut too, either store is whole, in place or under that name, and never one with the log of the other.
///
/// Blocks for as long as copying and checking take. Throws `StoreError` (`notRestored`), also where another process has
/// the store open; everything is as it was then.
RestoredStore restoreFromBackup(const std::filesystem::path& folder, const std::filesystem::path& backup, Timestamp now,
                                std::span<const Migration> steps = migrations());

}  // namespace ravant
