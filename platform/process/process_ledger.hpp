#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/process/process_tree.hpp"
#include "platform/process/unique_fd.hpp"

namespace ravant {

/// Writes down which children this process has running, so that the next start can end what is left when this one was
/// killed. One file per process in a folder of their owner alone; the file is locked (flock(2)) for as long as its
/// process lives, and the name is the process's `owner`.
///
/// Usable from any thread. Throws std::system_error and std::filesystem::filesystem_error.
class ProcessLedger {
 public:
  /// Makes the folder when it is missing. Where nothing can be written, what others left is still known, but
  /// `willStart` throws.
  static std::shared_ptr<ProcessLedger> open(const std::filesystem::path& folder);

  /// Removes the file, unless a tree is still written down as running.
  ~ProcessLedger();
  ProcessLedger(const ProcessLedger&) = delete;
  ProcessLedger& operator=(const ProcessLedger&) = delete;

  /// Why nothing can be written down; no error where it can.
  const std::error_code& fault() const { return fault_; }

  /// Names this process among all that ever used the folder.
  const std::string& owner() const { return owner_; }
  /// False as well for an owner that left no file.
  bool isAlive(std::string_view owner) const;
  /// The processes that left children running, or were killed before they could remove their file.
  std::vector<std::string> deadOwners() const;

  /// Ends what a dead owner left running, but for what had detached itself from its children (see `ProcessTree`);
  /// blocks, up to 3 s. Does nothing for one that is alive or forgotten; several processes may recover the same owner
  /// at once.
  TreeEnd recover(std::string_view owner) const;
  /// The same for several at once, within the same time. Answers those of which something is left.
  std::vector<std::string> recover(const std::vector<std::string>& owners) const;
  /// What runs of a dead owner; nothing of one that is alive or forgotten.
  std::vector<ProcessIdentity> leftBy(std::string_view owner) const;
  /// Writes down that ending what a dead owner left was tried in vain, so that it need not be tried again soon.
  void postpone(std::string_view owner) const;
  /// For ten minutes after `postpone`, until the machine starts anew.
  bool isPostponed(std::string_view owner) const;
  /// Removes the file of a dead owner, once everything that refers to it has been repaired.
  void forget(std::string_view owner) const;

  /// Called by ChildProcess: before a child is started, once it is running, and when nothing of its tree is left. Only
  /// the first throws; the others log, for recovery does without them.
  void willStart(const std::string& token);
  void started(const std::string& token, ProcessIdentity child);
  void ended(const std::string& token);
  /// How many trees of this process have not ended.
  std::size_t running();

 private:
  ProcessLedger(std::filesystem::path folder, std::string owner);
  void makeFile();
  std::vector<ProcessTree> treesOfDead(std::string_view owner) const;
  int append(std::string line);  // 0 or errno

  const std::filesystem::path folder_;
  const std::string owner_;
  const std::string boot_;  ///< tells this run of the machine from others; empty where it cannot be known
  std::mutex mutex_;
  UniqueFd file_;
  bool isTorn_ = false;  ///< whether the file ends within a line
  std::error_code fault_;
  std::set<std::string> running_;  ///< tokens
};

}  // namespace ravant
