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
  explicit InUseError(const std::string& reason)
      : std::runtime_error(reason + "; nothing was removed, try again when it has ended"), reason_(reason) {}

  const std::string& reason() const { return reason_; }

 private:
  std::string reason_;
};

/// A conversation was removed piece by piece, and not all of it could be; `what()` says so and what the user can do.
class PartlyRemovedError : public std::runtime_error {
 public:
  explicit PartlyRemovedError(const InUseError& inUse) : PartlyRemovedError(inUse.reason(), "when it has ended") {}
  explicit PartlyRemovedError(const StoreError& error)
      : PartlyRemovedError(error.kind() == StoreError::Case::full ? "the disk is full" : error.what(),
                           error.kind() == StoreError::Case::full ? "when there is room" : "") {}

 private:
  PartlyRemovedError(const std::string& reason, const std::string& when)
      : std::runtime_error("the latest part of the conversation is deleted, but not the rest (" + reason +
                           "); delete it again" + (when.empty() ? when : " " + when)) {}
};

}  // namespace ravant
