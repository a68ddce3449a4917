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

  pid_t pid() const { return identity_.pid; }
  bool isRunning();
  /// Nothing while it runs.
  std::optional<ExitStatus> exitStatus();
  /// Several coroutines may wait. A descendant can still hold the pipes afterwards. Nothing where `stopWaiting` came
  /// first.
  awaitable<std::optional<ExitStatus>> waitForExit();
  /// For a process that cannot be ended: whoever waits returns.
  void stopWaiting() { processDescriptor_.cancel(); }

  /// Ends the process and its tree within 3 s; there is no zombie afterwards.
  awaitable<TreeEnd> endTree();
  /// In place of `endTree`, for one that has exited: what it left in the background goes on, and is not looked for
  /// again.
  void leaveTree();
  /// Sends SIGKILL to its process group and returns at once.
  void kill();

 private:
  struct Pipes;
  ChildProcess(const any_io_executor& executor, Pipes pipes, ProcessIdentity identity, std::string token,
               std::shared_ptr<ProcessLedger> ledger);

  asio::posix::stream_descriptor standardInput_;
  asio::posix::stream_descriptor standardOutput_;
  asio::posix::stream_descriptor standardError_;
  asio::posix::stream_descriptor processDescriptor_;
  ProcessIdentity identity_;
  std::string token_;
  std::shared_ptr<ProcessLedger> ledger_;
  std::optional<ExitStatus> exitStatus_;
};

}  // namespace ravant
