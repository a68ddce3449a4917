#pragma once

#include <chrono>
#include <filesystem>
#include <system_error>

#include "platform/process/unique_fd.hpp"

namespace ravant {

/// Tells the processes that have a store open from the one that creates or upgrades it. The lock ends
/// with its process, however that ends.
class StoreLock {
 public:
  /// Makes the file when it is missing. Takes no lock yet. Throws `std::system_error`, but not where nothing can be
  /// written: who only reads goes on without.
  explicit StoreLock(const std::filesystem::path& file);

  /// The store is open here: nobody else may replace its file. Waits while it is being replaced. Without a file nobody
  /// can replace the store's, and everybody shares it.
  bool share(std::chrono::milliseconds limit);

  /// Why nothing can be written beside the store; no error where it can.
  const std::error_code& fault() const { return fault_; }

  /// Nobody else has the store open. What was shared is given up first, also on failure.
  bool takeAlone(std::chrono::milliseconds limit);

 private:
  bool lock(int operation, std::chrono::milliseconds limit);

  UniqueFd file_;
  std::error_code fault_;
};

}  // namespace ravant
