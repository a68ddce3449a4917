#include "runners/shell_session.hpp"

#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/write.hpp>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/log/log.hpp"
#include "platform/process/child_process.hpp"
#include "platform/process/line_reader.hpp"
#include "platform/process/stderr_collector.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"
#include "runners/shell_set_up.hpp"

namespace ravant {
namespace {

using namespace std::chrono_literals;

constexpr Log kLog("com.ravant.runners", "ShellSession");

/// A folder made anew at the same place is another one.
struct ShellFolder {
  std::filesystem::path path;
  dev_t device;
  ino_t inode;

  bool operator==(const ShellFolder&) const = default;
};

constexpr auto kReadingAfterExit = 200ms;
constexpr auto kRunningAfterOutput = 200ms;
constexpr auto kAskingAgain = 500ms;  // at first; each time it takes twice as long
constexpr std::size_t kLongLine = 1024 * 1024;

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

/// Nothing where it cannot be looked at.
std::optional<ShellFolder> shellFolder(const std::filesystem::path& path) {
  struct stat status{};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return ShellFolder{.path = path, .device = status.st_dev, .inode = status.st_ino};
}

}  // namespace

/// Shared by the session and the loops that watch the shell.
struct ShellSession::Shell : std::enable_shared_from_this<Shell> {
  Shell(const any_io_executor& strand, LaunchOptions options)
      : folder(shellFolder(options.workingDirectory)),
        child(ChildProcess::launch(std::move(options), strand)),
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

  /// Whether the shell came to the line's marker. Start-up files and hooks that read a line take it away from the
  /// shell: it is written again while the marker does not come.
  awaitable<bool> askUntilHeard(std::string line, std::string marker) {
    using namespace asio::experimental::awaitable_operators;
    co_await write(line);
    const auto heard = co_await (skipToMarker(std::move(marker)) || writeAgain(std::move(line)));
    co_return heard.index() == 0 && std::get<0>(heard);
  }

  /// Until it is cancelled.
  awaitable<void> writeAgain(std::string line) {
    asio::steady_timer pause(co_await asio::this_coro::executor);
    for (auto wait = kAskingAgain;; wait *= 2) {
      pause.expires_after(wait);
      const auto [error] = co_await pause.async_wait(asio::as_tuple(use_awaitable));
      if (error) co_return;
      co_await write(line);
    }
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

  std::optional<ShellFolder> folder;  ///< where it was started
  std::unique_ptr<ChildProcess> child;
  LineReader lines;
  StderrCollector standardError;
  std::array<char, 64 * 1024> standardErrorPiece;
  asio::steady_timer changed;  ///< cancelled whenever a loop or the tree has ended
  asio::steady_timer exited;   ///< cancelled when the shell has
  asio::steady_timer exitGrace;
  std::uint64_t quietSince = 0;  ///< tick since boot from which on nothing of the start-up files runs
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
  launch.workingDirectory = workingDirectory;
  launch.environment = withoutHistory(options_.environment);
  launch.ledger = options_.ledger;
  shell_ = std::make_shared<Shell>(strand_, std::move(launch));
  shell_->startLoops(strand_);

  std::exception_ptr failure;
  try {
    co_await makeReady(shell_, std::move(workingDirectory));
  } catch (...) {
    failure = std::current_exception();
  }
  if (!failure) co_return;
  co_await endShell();
  std::rethrow_exception(failure);
}

awaitable<void> ShellSession::makeReady(std::shared_ptr<Shell> shell, std::filesystem::path folder) {
  asio::steady_timer limit(strand_, options_.startLimit);
  limit.async_wait([shell](boost::system::error_code error) {
    if (error || shell->isReady) return;
    shell->hasTimedOut = true;
    shell->child->standardInput().cancel();
    shell->lines.finish();
  });

  const ShellSetUp setUp;
  if (co_await shell->askUntilHeard(setUp.askWhetherReady(), setUp.ready.printed()) &&
      co_await shell->askUntilHeard(setUp.silence(), setUp.quiet.printed())) {
    shell->quietSince = ticksSinceBoot();
    // Once: behind its marker stands nothing of what was asked for twice.
    co_await shell->write(setUp.enter(folder));
    shell->isReady = co_await shell->skipToMarker(setUp.inFolder.printed()) && !shell->hasTimedOut;
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
  if (!isUsableIn(workingDirectory)) co_await startShell(std::move(workingDirectory));
}

bool ShellSession::isUsableIn(const std::filesystem::path& workingDirectory) {
  if (!isRunning() || shell_->lines.hasEnded()) return false;
  return shell_->folder && shell_->folder == shellFolder(workingDirectory);
}

bool ShellSession::isUsableInItsFolder() { return shell_ && shell_->folder && isUsableIn(shell_->folder->path); }

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

bool ShellSession::isHeld() const { return shell_ && !shell_->isEnding; }

void ShellSession::leaveDetached() {
  if (isHeld()) shell_->child->leaveDetached();
}

void ShellSession::leaveDetachedByStartUp() {
  if (isHeld()) shell_->child->leaveDetachedUntil(shell_->quietSince);
}

awaitable<void> ShellSession::newDetachedCanBeTold() {
  const auto shell = shell_;
  if (isHeld()) co_await shell->child->newDetachedCanBeTold();
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
