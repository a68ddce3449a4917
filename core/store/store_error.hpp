#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include "platform/sqlite/error.hpp"

namespace ravant {

/// Why the store could not be opened, read or written. `what()` names the file and what to do, with
/// the operating system's own words where it refused.
class StoreError : public std::runtime_error {
 public:
  enum class Case {
    folderUnusable,
    notAStore,
    newerVersion,
    upgradeBlocked,
    notUpgraded,
    notRestored,
    damaged,
    searchIndexDamaged,
    replaced,
    full,
    readOnly,
    tooLarge,
    busy,
    other
  };

  StoreError(Case kind, const std::filesystem::path& store, const std::string& detail = {});

  /// What an error of the database layer means for this store.
  static StoreError from(const sqlite::Error& error, const std::filesystem::path& store);

  Case kind() const { return kind_; }

 private:
  Case kind_;
};

/// What a prompt in flight still writes to is not removed; `what()` says so and what the user can do.
class InUseError : public std::runtime_error {
 public:
  explicit InUseError(const std::string& reason, const std::string& removed = "nothing was removed")
      : std::runtime_error(reason + "; " + removed + ", try again when it has ended") {}
};

}  // namespace ravant
