#include "runners/shell_session.hpp"

#include <fmt/format.h>

#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/log/log.hpp"
#include "platform/process/child_process.hpp"
#include "platform/process/line_reader.hpp"
#include "platform/process/stderr_collector.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {
namespace {

using namespace std::chrono_literals;

constexpr Log kLog("com.ravant.runners", "ShellSession");

constexpr auto kReadingAfterExit = 200ms;
constexpr auto kRunningAfterOutput = 200ms;
constexpr std::size_t kLongLine = 1024 * 1024;

// What the user's shell is told once it is ready. Every marker holds the word that keeps our lines out of the history
// until the shell has none. Variables that a profile can have made read-only are unset, never assigned: assigning would
// abandon the rest of the line. So would turning bash's line editor off inside of eval.
constexpr std::string_view kMarkerWord = "__RAVANT_";
constexpr std::string_view kSetUp =
    "eval 'set +e +u +x +v' 2>/dev/null || true; "
    "test -n \"$BASH_VERSION\" && eval 'trap - DEBUG ERR RETURN; set +o history +o histexpand; "
    "unset PROMPT_COMMAND PS0 PS1 PS2 HISTFILE HISTIGNORE HISTORY_IGNORE MAILCHECK TMOUT' 2>/dev/null; "
    "test -n \"$ZSH_VERSION\" && eval 'unset HISTFILE HISTIGNORE HISTORY_IGNORE MAILCHECK TMOUT; "
    "unsetopt prompt_sp prompt_cr correct correct_all err_return; trap - DEBUG ZERR; "
    "unset precmd_functions preexec_functions periodic_functions chpwd_functions; "
    "unfunction precmd preexec periodic chpwd TRAPDEBUG TRAPZERR; PS1= PS2= RPS1= RPS2=' 2>/dev/null; "
    "test -z \"$BASH_VERSION$ZSH_VERSION\" && eval 'unset HISTFILE HISTIGNORE HISTORY_IGNORE; PS1= PS2=' 2>/dev/null; "
    "eval 'unalias echo base64; unset -f echo base64; command -v base64 || base64() { /usr/bin/base64 \"$@\"; }' "
    ">/dev/null 2>&1; "
    "test -n \"$BASH_VERSION\" && set +o emacs +o vi; ";

/// A line that the shell is told to print. It is typed in two parts, so that a shell that shows what it reads does not
/// seem to have printed it.
struct Marker {
  explicit Marker(std::string_view name) : rest(fmt::format("{}_{}__", name, Uuid::random().upperText())) {}
  std::string printed() const { return fmt::format("{}{}", kMarkerWord, rest); }
  std::string typed() const { return fmt::format("{}''{}", kMarkerWord, rest); }

  std::string rest;
};

std::string inheritedOr(const std::map<std::string, std::string>& environment, const std::string& name) {
  const auto found = environment.find(name);
  if (found != environment.end()) return found->second;
  const char* const inherited = std::getenv(name.c_str());
  return inherited == nullptr ? std::string() : inherited;
}

/// Without what bash says of itself when a command was ended by a signal and there is no terminal.
std::string withoutTerminalNotice(std::string text) {
  constexpr std::string_view kBegin = "bash: [";
  constexpr std::string_view kEnd = "tcsetattr: Inappropriate ioctl for device\n";
  const std::size_t end = text.find(kEnd);
  const std::size_t begin = end == std::string::npos ? end : text.rfind('\n', end) + 1;
  if (end != std::string::npos && text.compare(begin, kBegin.size(), kBegin) == 0) {
    text.erase(begin, end + kEnd.size() - begin);
  }
  return text;
}

// For the lines that come before the shell has been told to keep no history.
std::map<std::string, std::string> withoutHistory(std::map<std::string, std::string> environment) {
  const std::string pattern = fmt::format("*{}*", kMarkerWord);
  const std::string bash = inheritedOr(environment, "HISTIGNORE");
  const std::string zsh = inheritedOr(environment, "HISTORY_IGNORE");
  environment["HISTIGNORE"] = bash.empty() ? pattern : fmt::format("{}:{}", bash, pattern);
  environment["HISTFILE"] = "";
  environment["HISTORY_IGNORE"] = zsh.empty() ? pattern : fmt::format("({}|{})", zsh, pattern);
  return environment;
}

}  // namespace

/// Shared by the session and the loops that watch the shell.
struct ShellSession::Shell : std::enable_shared_from_this<Shell> {
  Shell(const any_io_executor& strand, LaunchOptions options)
      : child(ChildProcess::launch(std::move(options), strand)),
        lines(child->standardOutput()),
        changed(strand, asio::steady_timer::time_point::max()),
        exited(strand),
        exitGrace(strand) {
    child->standardError().non_blocking(true);
  }

  void startLoops(const any_io_executor& strand) {
    for (auto loop : {&Shell::collectStandardError, &Shell::watchExit}) {
      ++loops;
      asio::co_spawn(
          strand, [self = shared_from_this(), loop] { return ((*self).*loop)(); },
          [self = shared_from_this()](std::exception_ptr error) {
            if (error) kLog.error("watching shell {} ended with an error", self->child->pid());
            --self->loops;
            self->changed.cancel();
          });
    }
  }

  awaitable<void> collectStandardError() {
    auto& pipe = child->standardError();
    do {
      const auto [error] =
          co_await pipe.async_wait(asio::posix::stream_descriptor::wait_read, asio::as_tuple(use_awaitable));
      if (error) co_return;
    } while (!isEnding && readStandardError());
  }

  /// Without waiting; false at the end of the stream.
  bool readStandardError() {
    boost::system::error_code error;
    const std::size_t count = child->standardError().read_some(asio::buffer(standardErrorPiece), error);
    standardError.append(std::string_view(standardErrorPiece.data(), count));
    return !error || error == asio::error::would_block;
  }

  awaitable<void> watchExit() {
    co_await child->waitForExit();
    exited.cancel();
    if (!isEnding) {
      exitGrace.expires_after(kReadingAfterExit);
      co_await exitGrace.async_wait(asio::as_tuple(use_awaitable));
    }
    lines.finish();
  }

  /// A shell's output ends a moment before the shell does.
  awaitable<void> awaitExit() {
    if (isEnding || !child->isRunning()) co_return;
    exited.expires_after(kRunningAfterOutput);
    co_await exited.async_wait(asio::as_tuple(use_awaitable));
  }

  awaitable<boost::system::error_code> write(std::string text) {
    const auto [error, count] =
        co_await asio::async_write(child->standardInput(), asio::buffer(text), asio::as_tuple(use_awaitable));
    co_return error;
  }

  awaitable<bool> skipToMarker(std::string marker) {
    for (;;) {
      while (const auto line = lines.tryNext()) {
        // A prompt hook can have printed something in front of it.
        if (line->ends_with(marker)) co_return true;
      }
      if (!co_await lines.fill()) co_return false;
    }
  }

  std::string drainStandardError() {
    // One read takes all that a pipe holds.
    readStandardError();
    return withoutTerminalNotice(standardError.drain());
  }

  /// Its standard input stays open meanwhile: at its end the shell would write its history.
  awaitable<void> end() {
    if (!std::exchange(isEnding, true)) {
      child->standardInput().cancel();
      lines.finish();
      if (co_await child->endTree() == TreeEnd::survivorsLeft) {
        kLog.warning("processes of shell {} could not be ended", child->pid());
      }
      child->standardError().cancel();
      exitGrace.cancel();
      hasTreeEnded = true;
      changed.cancel();
    }
    while (!hasTreeEnded || loops > 0) co_await changed.async_wait(asio::as_tuple(use_awaitable));
  }

  /// When nobody is left to await the end.
  void abandon() {
    isEnding = true;
    child->kill();
    child->standardError().cancel();
  }

  std::unique_ptr<ChildProcess> child;
  LineReader lines;
  StderrCollector standardError;
  std::array<char, 64 * 1024> standardErrorPiece;
  asio::steady_timer changed;  ///< cancelled whenever a loop or the tree has ended
  asio::steady_timer exited;   ///< cancelled when the shell has
  asio::steady_timer exitGrace;
  int loops = 0;
  bool isReady = false;
  bool isEnding = false;
  bool hasTreeEnded = false;
  bool hasTimedOut = false;
};

ShellSession::ShellSession(any_io_executor strand, ShellOptions options)
    : strand_(std::move(strand)), options_(std::move(options)) {}

ShellSession::~ShellSession() {
  if (shell_) asio::post(strand_, [shell = std::move(shell_)] { shell->abandon(); });
}

awaitable<void> ShellSession::startShell(std::filesystem::path workingDirectory) {
  const auto shutdowns = shutdowns_;
  co_await endShell();
  if (shutdowns_ != shutdowns) throw ShellStartError(ShellStartError::Case::shutDown, "the shell was shut down");

  LaunchOptions launch;
  launch.executable = options_.shellPath;
  launch.arguments = {"-l", "-i"};
  launch.workingDirectory = std::move(workingDirectory);
  launch.environment = withoutHistory(options_.environment);
  launch.ledger = options_.ledger;
  shell_ = std::make_shared<Shell>(strand_, std::move(launch));
  shell_->startLoops(strand_);

  std::exception_ptr failure;
  try {
    co_await makeReady(shell_);
  } catch (...) {
    failure = std::current_exception();
  }
  if (!failure) co_return;
  co_await endShell();
  std::rethrow_exception(failure);
}

awaitable<void> ShellSession::makeReady(std::shared_ptr<Shell> shell) {
  asio::steady_timer limit(strand_, options_.startLimit);
  limit.async_wait([shell](boost::system::error_code error) {
    if (error || shell->isReady) return;
    shell->hasTimedOut = true;
    shell->child->standardInput().cancel();
    shell->lines.finish();
  });

  const Marker ready("READY");
  const Marker setUp("SETUP");
  co_await shell->write(fmt::format("unset -f echo 2>/dev/null || true; \\echo {}\n", ready.typed()));
  if (co_await shell->skipToMarker(ready.printed())) {
    co_await shell->write(fmt::format("{}\\echo {}\n", kSetUp, setUp.typed()));
    shell->isReady = co_await shell->skipToMarker(setUp.printed()) && !shell->hasTimedOut;
  }
  const std::string standardError = shell->drainStandardError();

  using Case = ShellStartError::Case;
  if (shell->isEnding) throw ShellStartError(Case::shutDown, "the shell was shut down while it started");
  if (shell->isReady) co_return;
  if (shell->hasTimedOut) {
    throw ShellStartError(Case::timedOut,
                          fmt::format("{} was not ready after {} s: its start-up files do not come to an end, wait for "
                                      "input or start another program. Last words: {}",
                                      options_.shellPath, std::chrono::duration<double>(options_.startLimit).count(),
                                      trimmed(standardError)));
  }
  throw ShellStartError(Case::ended,
                        fmt::format("{} ended before it was ready, or its start-up files took its output away. Last "
                                    "words: {}",
                                    options_.shellPath, trimmed(standardError)));
}

awaitable<void> ShellSession::ensureShell(std::filesystem::path workingDirectory) {
  if (!isRunning() || shell_->lines.hasEnded()) co_await startShell(std::move(workingDirectory));
}

awaitable<void> ShellSession::writeStdin(std::string text) {
  const auto shell = shell_;
  if (!shell) throw std::system_error(std::make_error_code(std::errc::not_connected), options_.shellPath);
  if (const auto error = co_await shell->write(std::move(text))) {
    throw std::system_error(static_cast<std::error_code>(error), options_.shellPath);
  }
}

awaitable<std::optional<std::string>> ShellSession::readLine() {
  const auto shell = shell_;
  while (shell && !shell->isEnding) {
    if (auto line = tryReadLine()) co_return line;
    if (co_await shell->lines.fill()) continue;
    co_await shell->awaitExit();
    break;
  }
  co_return std::nullopt;
}

std::optional<std::string> ShellSession::tryReadLine() {
  const auto line = shell_ ? shell_->lines.tryNext() : std::nullopt;
  if (!line) return std::nullopt;
  std::string text = repairUtf8(std::string(*line));
  if (text.size() > kLongLine) shell_->lines.releaseMemory();
  return text;
}

bool ShellSession::readMore() { return shell_ && shell_->lines.fillNow(); }

std::string ShellSession::drainStderr() { return shell_ ? shell_->drainStandardError() : std::string(); }

bool ShellSession::isRunning() { return shell_ && !shell_->isEnding && shell_->child->isRunning(); }

void ShellSession::leaveDetached() {
  if (shell_) shell_->child->leaveDetached();
}

awaitable<void> ShellSession::endDetached() {
  const auto shell = shell_;
  if (shell) co_await shell->child->endDetached();
}

awaitable<void> ShellSession::shutdown() {
  ++shutdowns_;
  co_await endShell();
}

awaitable<void> ShellSession::endShell() {
  const auto shell = shell_;
  if (!shell) co_return;
  co_await shell->end();
  if (shell_ == shell) shell_.reset();
}

}  // namespace ravant
