#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/async/actor.hpp"
#include "platform/async/signal.hpp"
#include "platform/process/process_ledger.hpp"

namespace ravant {

class CapturedProcess;

/// A git command that failed; `what()` is what it printed.
class GitCommandError : public std::runtime_error {
 public:
  GitCommandError(const std::string& command, std::int32_t status, const std::string& output);

  const std::string& command() const { return command_; }
  /// 124 for one that was ended at the time limit.
  std::int32_t status() const { return status_; }
  const std::string& output() const { return output_; }

 private:
  std::string command_;
  std::int32_t status_;
  std::string output_;
};

/// A text that cannot be the name of a branch, or is that of a file instead; git was not asked.
class BranchNameError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A local branch that cannot become what was fetched; `what()` says why. The working copy is as it was.
class BranchInTheWayError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What is fetched, and into which local branch.
struct FetchedBranch {
  std::string remote;
  std::string reference;  ///< at the remote, by its whole name
  std::string branch;
};

struct CheckedOutBranch {
  std::string output;      ///< what git printed
  std::int64_t ahead = 0;  ///< commits that the branch has on top of what was fetched
};

struct GitCommandOptions {
  any_io_executor io;
  any_io_executor work;   ///< for what blocks
  std::string shellPath;  ///< see loginShell()
  std::chrono::seconds timeout{120};
  std::vector<std::string> withheldVariables = {};  ///< which git and its hooks do not get
  std::shared_ptr<ProcessLedger> processes = {};    ///< may be null
};

/// What changes a repository: runs git in the user's login shell, so that credential helpers and agents of keys work as
/// they do in a terminal. Git asks nothing: what would need an answer fails in git's words. What git leaves in the
/// background goes on, as the tidying up after a fetch. The commands of one runner run one after another.
///
/// Each operation returns what git printed, standard error included, and throws `GitCommandError` where it failed,
/// `BranchNameError` for a name that no branch can have or that is a file's, and `std::system_error` where the shell or
/// the folder is not there.
class GitCommandRunner final : public Actor {
 public:
  explicit GitCommandRunner(GitCommandOptions options);
  ~GitCommandRunner() override;

  awaitable<std::string> pull(std::filesystem::path folder);
  awaitable<std::string> fetch(std::filesystem::path folder);
  awaitable<std::string> checkout(std::string branch, std::filesystem::path folder);
  /// Fetches a reference and checks it out as the local branch, which is made, or goes on to it where it then still has
  /// all its commits, and stays as it is where it has more than that. Files that git ignores are not overwritten, and
  /// no hook sees the checkout: what was fetched may have brought it. Throws also `BranchInTheWayError`, and
  /// `std::runtime_error` where the repository cannot be read.
  awaitable<CheckedOutBranch> checkoutFetched(FetchedBranch fetched, std::filesystem::path folder);
  awaitable<std::string> createBranch(std::string name, std::filesystem::path folder);
  awaitable<std::string> deleteBranch(std::string name, std::filesystem::path folder);

  /// Ends the command that runs, and those that wait. Nothing is run afterwards.
  awaitable<void> shutdown();

 private:
  awaitable<std::string> run(std::string command, std::filesystem::path folder);
  awaitable<std::string> runOnBranch(std::string command, std::string name, std::filesystem::path folder);
  awaitable<std::string> inTurn(std::string command, awaitable<std::string> operation);
  awaitable<std::string> checkOut(std::string branch, std::filesystem::path folder);
  awaitable<std::string> fetchAndCheckOut(FetchedBranch fetched, std::filesystem::path folder, std::int64_t& ahead);
  /// What `read` gives, on the pool for what blocks.
  template <class Read>
  auto onWork(Read read) -> awaitable<decltype(read())>;

  const GitCommandOptions options_;
  std::vector<std::string> withheldVariables_;
  Signal changed_;
  std::unique_ptr<CapturedProcess> running_;
  bool isBusy_ = false;
  bool isShutDown_ = false;
};

}  // namespace ravant
