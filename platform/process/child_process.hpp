#pragma once

#include <sys/types.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/async/async.hpp"
#include "platform/process/process_ledger.hpp"
#include "platform/process/process_tree.hpp"

namespace ravant {

/// Makes writing to a pipe that nobody reads an error (EPIPE) instead of the end of the program. Called first in
/// `main`; launching does it too.
void ignoreBrokenPipes();

enum class StandardInput { pipe, nullDevice };
/// `standardOutput`: both come out of one pipe, in the order in which they were written.
enum class StandardError { pipe, standardOutput };

struct LaunchOptions {
  std::string executable;                               ///< a path; PATH is not searched
  std::vector<std::string> arguments = {};              ///< those behind the name of the program
  std::filesystem::path workingDirectory = {};          ///< empty: this program's own
  std::map<std::string, std::string> environment = {};  ///< added to this program's own, or in place of what it has
  std::vector<std::string> withheldVariables = {};      ///< of this program's own
  StandardInput standardInput = StandardInput::pipe;
  StandardError standardError = StandardError::pipe;
  std::string sharedToken = {};                ///< one more, by which what several children left is found together
  std::shared_ptr<ProcessLedger> ledger = {};  ///< may be null
};

struct ExitStatus {
  enum class Reason { exit, signal };

  Reason reason = Reason::exit;
  int code = 0;  ///< exit code or number of the signal

  /// As shells count: 128 and the number of the signal.
  int shellCode() const { return reason == Reason::exit ? code : 128 + code; }

  bool operator==(const ExitStatus&) const = default;
};

/// A program in a session of its own, with default signals, no descriptors but its standard ones, and a token in its
/// environment by which its whole tree is found.
///
/// Its members run on the executor it was launched with, a strand where several threads run. Whoever launches it also
/// calls `endTree` or `leaveTree`, even when it has exited; the destructor only kills its process group and does not
/// wait.
class ChildProcess {
 public:
  /// Throws std::system_error with the file or folder at fault in front of the system's words.
  static std::unique_ptr<ChildProcess> launch(LaunchOptions options, const any_io_executor& executor);

  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// This program's ends of the pipes; those that there are not are closed.
  asio::posix::stream_descriptor& standardInput() { return standardInput_; }
  asio::posix::stream_descriptor& standardOutput() { return standardOutput_; }
  asio::posix::stream_descriptor& standardError() { return standardError_; }

  pid_t pid() const { return tree_.root->pid; }
  bool isRunning();
  /// Nothing while it runs.
  std::optional<ExitStatus> exitStatus();
  /// Several coroutines may wait. A descendant can still hold the pipes afterwards. Nothing once `endTree` has found
  /// that the process cannot be ended.
  awaitable<std::optional<ExitStatus>> waitForExit();

  /// From here on what has detached itself from the process up to now goes on, whatever ends: what is in a session of
  /// its own and descends from nothing that is in the process's.
  void leaveDetached() { leaveDetachedUntil(ticksSinceBoot()); }
  /// The same of a tick that is past.
  void leaveDetachedUntil(std::uint64_t tick);
  /// Returns when what is started from then on can be told from what was left: start times are counted in hundredths of
  /// a second.
  awaitable<void> newDetachedCanBeTold();
  /// Ends the process and its tree within 3 s, but for what was left; there is no zombie afterwards. With survivors,
  /// the tree stays in the ledger, and the process's group got a SIGKILL.
  awaitable<TreeEnd> endTree();
  /// Ends what has detached itself and was not left, within 3 s. The process goes on.
  awaitable<TreeEnd> endDetached();
  /// In place of `endTree`, for one that has exited: what it left in the background goes on, and is not looked for
  /// again.
  void leaveTree();
  /// Sends SIGKILL to its process group and returns at once.
  void kill();

 private:
  struct Pipes;
  ChildProcess(const any_io_executor& executor, Pipes pipes, ProcessTree tree, std::shared_ptr<ProcessLedger> ledger);
  awaitable<bool> isGoneSoon();

  asio::posix::stream_descriptor standardInput_;
  asio::posix::stream_descriptor standardOutput_;
  asio::posix::stream_descriptor standardError_;
  asio::posix::stream_descriptor processDescriptor_;
  ProcessTree tree_;
  std::shared_ptr<ProcessLedger> ledger_;
  std::optional<ExitStatus> exitStatus_;
  bool isGivenUp_ = false;
};

/// Ends the trees of all children of this program and lets it start no more: for a program that ends without ending its
/// parts one by one. Blocks, up to 3 s. Usable from any thread.
TreeEnd endAllChildren(Termination termination);

}  // namespace ravant
