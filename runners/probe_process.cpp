#include "runners/probe_process.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/this_coro.hpp>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/log/log.hpp"
#include "platform/process/child_process.hpp"
#include "platform/process/stderr_collector.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

using namespace std::chrono_literals;
using asio::posix::stream_descriptor;

constexpr Log kLog("com.ravant.runners", "ProbeProcess");

constexpr auto kReadingAfterExit = 200ms;

/// One program being probed; lives on a strand of its own.
class Probe {
 public:
  Probe(std::unique_ptr<ChildProcess> child, const ProbeOptions& options, const any_io_executor& strand)
      : child_(std::move(child)), outputLimit_(options.outputLimit), limit_(strand, options.limit), grace_(strand) {}

  awaitable<void> watch() {
    using namespace asio::experimental::awaitable_operators;
    co_await (readOutput() && readError() && watchExit() && watchLimit());
    if (co_await child_->endTree() == TreeEnd::survivorsLeft) {
      kLog.warning("processes of probe {} could not be ended", child_->pid());
    }
  }

  ExitStatus exitStatus() { return child_->exitStatus().value_or(ExitStatus{}); }
  bool hasTimedOut() const { return hasTimedOut_; }
  bool hasTooMuchOutput() const { return output_.size() > outputLimit_; }
  std::string takeOutput() { return repairUtf8(std::move(output_)); }
  std::string drainError() { return error_.drain(); }

 private:
  awaitable<void> readOutput() {
    co_await readAll(child_->standardOutput(), [this](std::string_view piece) {
      if (!hasTooMuchOutput()) output_.append(piece);
      if (hasTooMuchOutput()) child_->kill();
    });
  }

  awaitable<void> readError() {
    co_await readAll(child_->standardError(), [this](std::string_view piece) { error_.append(piece); });
  }

  template <class Take>
  awaitable<void> readAll(stream_descriptor& pipe, Take take) {
    std::array<char, 16 * 1024> piece;
    for (;;) {
      const auto [error, count] = co_await pipe.async_read_some(asio::buffer(piece), asio::as_tuple(use_awaitable));
      if (error) break;
      take(std::string_view(piece.data(), count));
    }
    if (--openPipes_ == 0) grace_.cancel();
  }

  awaitable<void> watchExit() {
    co_await child_->waitForExit();
    limit_.cancel();
    if (openPipes_ == 0) co_return;
    grace_.expires_after(kReadingAfterExit);
    co_await grace_.async_wait(asio::as_tuple(use_awaitable));
    child_->standardOutput().cancel();
    child_->standardError().cancel();
  }

  awaitable<void> watchLimit() {
    if (!child_->isRunning()) co_return;
    const auto [error] = co_await limit_.async_wait(asio::as_tuple(use_awaitable));
    if (error || !child_->isRunning()) co_return;
    hasTimedOut_ = true;
    co_await child_->endTree();
  }

  std::unique_ptr<ChildProcess> child_;
  const std::size_t outputLimit_;
  asio::steady_timer limit_;
  asio::steady_timer grace_;  ///< for what a program that has exited left in its pipes
  int openPipes_ = 2;
  bool hasTimedOut_ = false;
  std::string output_;
  StderrCollector error_;
};

std::unique_ptr<ChildProcess> launch(LaunchOptions options, const std::string& label, const any_io_executor& strand) {
  kLog.debug("{} probe: launching {} {}", label, options.executable, fmt::join(options.arguments, " "));
  try {
    return ChildProcess::launch(std::move(options), strand);
  } catch (const std::system_error& error) {
    const std::string text = fmt::format("{} launch: {}", label, error.what());
    kLog.error("{}", text);
    throw ProbeError(ProbeError::Case::launch, text);
  }
}

awaitable<std::string> probe(LaunchOptions launchOptions, std::string label, ProbeOptions options) {
  const any_io_executor strand = co_await asio::this_coro::executor;
  Probe probe(launch(std::move(launchOptions), label, strand), options, strand);
  co_await probe.watch();

  if (probe.hasTooMuchOutput()) {
    const auto text = fmt::format("{} probe: more than {} bytes of output", label, options.outputLimit);
    kLog.error("{}", text);
    throw ProbeError(ProbeError::Case::tooMuchOutput, text);
  }
  const ExitStatus status = probe.exitStatus();
  if (status == ExitStatus{} && !probe.hasTimedOut()) co_return probe.takeOutput();

  const std::string standardError = probe.drainError();
  const std::string_view reason = status.reason == ExitStatus::Reason::exit ? "exit" : "signal";
  kLog.error("{} probe: exit {} reason={} stderr={}", label, status.code, reason, standardError);
  const double seconds = std::chrono::duration<double>(options.limit).count();
  throw ProbeError(ProbeError::Case::exitStatus,
                   fmt::format("{} probe: exit {}{}{}{}", label, status.code,
                               probe.hasTimedOut() ? fmt::format(", ended after {} s", seconds) : "",
                               trimmed(standardError).empty() ? "" : ": ", trimmed(standardError)));
}

}  // namespace

awaitable<std::string> ProbeProcess::run(std::string binaryPath, std::vector<std::string> arguments, std::string label,
                                         ProbeOptions options) {
  LaunchOptions launchOptions;
  launchOptions.executable = std::move(binaryPath);
  launchOptions.arguments = std::move(arguments);
  launchOptions.environment = options.environment;
  launchOptions.standardInput = StandardInput::nullDevice;
  launchOptions.ledger = options.ledger;
  // The empty slot keeps a cancellation on the caller's executor.
  co_return co_await asio::co_spawn(asio::make_strand(co_await asio::this_coro::executor),
                                    probe(std::move(launchOptions), std::move(label), std::move(options)),
                                    asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
}

}  // namespace ravant
