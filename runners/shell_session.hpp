#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/async/async.hpp"
#include "platform/process/process_ledger.hpp"

namespace ravant {

/// A shell that was launched but did not get ready; `what()` names it and says what the user can do.
class ShellStartError : public std::runtime_error {
 public:
  enum class Case { ended, timedOut, shutDown };

  ShellStartError(Case kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
  Case kind() const { return kind_; }

 private:
  Case kind_;
};

struct ShellOptions {
  std::string shellPath;                                ///< see loginShell()
  std::chrono::milliseconds startLimit{30'000};         ///< for the user's start-up files
  std::map<std::string, std::string> environment = {};  ///< added to this program's own
  std::shared_ptr<ProcessLedger> ledger = {};           ///< may be null
};

/// The user's login shell with its start-up files read, ready to run agents: without history, prompts, echo and hooks
/// that print, so that its output is the agent's alone.
///
/// Part of a runner: its members run on the runner's strand, and one that suspends lets the runner's other operations
/// call `shutdown`. To be shut down before the strand's executor ends; the destructor kills and does not wait.
class ShellSession {
 public:
  ShellSession(any_io_executor strand, ShellOptions options);
  ~ShellSession();
  ShellSession(const ShellSession&) = delete;
  ShellSession& operator=(const ShellSession&) = delete;

  /// Ends the shell that is held and starts another in the folder. Throws the system's launch error (std::system_error)
  /// or ShellStartError; nothing is left running then.
  awaitable<void> startShell(std::filesystem::path workingDirectory);
  /// Starts a shell unless one is usable there.
  awaitable<void> ensureShell(std::filesystem::path workingDirectory);
  /// Whether a shell is running that can still be heard and was started in this folder, not in one that stood at its
  /// place before.
  bool isUsableIn(const std::filesystem::path& workingDirectory);
  /// Likewise, of the folder that it was started in.
  bool isUsableInItsFolder();

  /// Returns when the shell, or the agent in it, has taken all of the text. Throws std::system_error: not_connected
  /// without a shell, broken_pipe when it has gone, operation_canceled by `shutdown`. One write at a time.
  awaitable<void> writeStdin(std::string text);
  /// The next line of standard output, repaired to valid UTF-8. Nothing at the end of the stream, without a shell, and
  /// from 200 ms after the shell's exit on, even if a process that it left behind holds the pipe. One read at a time.
  awaitable<std::optional<std::string>> readLine();
  /// A line that has arrived already, without waiting: the fast path through a flood.
  std::optional<std::string> tryReadLine();
  /// Takes more of what has arrived in, for `tryReadLine`, without waiting; false where nothing has.
  bool readMore();

  /// What has been written to standard error since the last call, up to now: its start and its end, see
  /// StderrCollector.
  std::string drainStderr();
  bool isRunning();
  /// Whether there is a shell that nobody ends, even one that has gone: what was started in it is to be ended.
  bool isHeld() const;

  /// What agents have detached up to now goes on when the shell ends (see ChildProcess). Too late once it is ended.
  void leaveDetached();
  /// The same of what the shell's start-up files have detached.
  void leaveDetachedByStartUp();
  /// Returns when what is detached from then on can be told from that.
  awaitable<void> newDetachedCanBeTold();
  /// Ends what they have detached since; the shell goes on.
  awaitable<void> endDetached();
  /// Ends the shell and everything started in it but what was left, within 3 s. A waiting `readLine` returns nothing.
  awaitable<void> shutdown();

 private:
  struct Shell;
  awaitable<void> makeReady(std::shared_ptr<Shell> shell, std::filesystem::path folder);
  awaitable<void> endShell();

  any_io_executor strand_;
  ShellOptions options_;
  std::shared_ptr<Shell> shell_;  ///< held until its tree has ended
  int shutdowns_ = 0;
};

}  // namespace ravant
