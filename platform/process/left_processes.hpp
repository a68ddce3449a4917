#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/async/async.hpp"
#include "platform/process/process_tree.hpp"

namespace ravant {

/// A process that an agent started and that hangs on no living Ravant: what detached itself, and what a killed Ravant
/// left. With it what descends from it or is in its session.
struct LeftProcess {
  ProcessIdentity identity;
  std::chrono::system_clock::time_point startedAt;
  std::filesystem::path folder;  ///< its present one; empty where it cannot be known
  std::string command;           ///< its words, parted by blanks
  std::size_t processes = 1;     ///< it and those with it
};

/// Why a process is not ended; `what()` tells the user.
class LeftProcessError : public std::runtime_error {
 public:
  enum class Case { unknown, notOurs, inUse };

  LeftProcessError(Case kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
  Case kind() const { return kind_; }

 private:
  Case kind_;
};

/// Those of this user, whatever data folder their Ravant had, oldest first; never what is in this program's own
/// session. They are known by the token in the environment that they were started with. Throws std::system_error where
/// the processes cannot be looked at.
std::vector<LeftProcess> leftProcesses();

/// Ends such a process and what hangs on it: its session where it leads one, and its descendants; within 3 s. Throws
/// LeftProcessError for any other process, and where a living Ravant with agents of its own would be ended with it, and
/// std::system_error as above.
awaitable<TreeEnd> endLeftProcess(pid_t pid);

}  // namespace ravant
