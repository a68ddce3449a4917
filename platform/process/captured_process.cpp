#include "platform/process/captured_process.hpp"

#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <utility>

#include "platform/log/log.hpp"

namespace ravant {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr Log kLog("com.ravant.platform", "CapturedProcess");
constexpr auto kReadingAfterExit = 200ms;

}  // namespace

CapturedProcess::CapturedProcess(CaptureOptions options, const any_io_executor& strand)
    : options_(std::move(options)),
      child_(ChildProcess::launch(options_.launch, strand)),
      changed_(strand),
      deadline_(Clock::now() + options_.limit),
      openPipes_(options_.launch.standardError == StandardError::pipe ? 2 : 1) {}

awaitable<void> CapturedProcess::run() {
  using namespace asio::experimental::awaitable_operators;
  const auto readOutput = [this] {
    return readAll(&child_->standardOutput(), [this](std::string_view piece) { takeIn(piece); });
  };
  const auto readError = [this] {
    return readAll(&child_->standardError(), [this](std::string_view piece) { error_.append(piece); });
  };
  co_await (readOutput() && readError() && watchExit() && watchEnd());
}

void CapturedProcess::changeTo(State next) {
  const bool isNext = state_ == State::running || (state_ == State::exited && next == State::stopped);
  if (!isNext) return;
  state_ = next;
  if (next == State::timedOut) sizeInTime_ = output_.size();
  changed_.notify();
}

void CapturedProcess::takeIn(std::string_view piece) {
  const std::string_view kept = piece.substr(0, options_.outputLimit - output_.size());
  output_.append(kept);
  if (kept.size() == piece.size()) return;
  hasTooMuchOutput_ = true;
  if (options_.excess == CaptureOptions::Excess::ended) changeTo(State::flooded);
}

template <class Take>
awaitable<void> CapturedProcess::readAll(asio::posix::stream_descriptor* pipe, Take take) {
  if (!pipe->is_open()) co_return;
  std::array<char, 16 * 1024> piece;
  for (;;) {
    const auto [error, count] = co_await pipe->async_read_some(asio::buffer(piece), asio::as_tuple(use_awaitable));
    // Asked as well, for what is read without waiting cannot be cancelled.
    if (error || isReadingOver_) break;
    take(std::string_view(piece.data(), count));
  }
  --openPipes_;
  changed_.notify();
}

awaitable<void> CapturedProcess::watchExit() {
  if (co_await child_->waitForExit()) changeTo(State::exited);
}

awaitable<void> CapturedProcess::watchEnd() {
  while (state_ == State::running && Clock::now() < deadline_) co_await changed_.wait(deadline_);
  changeTo(State::timedOut);
  const State end = state_;
  if (end != State::exited) co_await endTree();
  co_await readToEnd();
  if (end == State::exited) co_await endTree();
}

/// What a program left in its pipes is read; for those who still hold them only a moment.
awaitable<void> CapturedProcess::readToEnd() {
  const State end = state_;
  const auto deadline = Clock::now() + kReadingAfterExit;
  while (openPipes_ > 0 && state_ == end && Clock::now() < deadline) co_await changed_.wait(deadline);
  isReadingOver_ = true;
  child_->standardOutput().cancel();
  if (child_->standardError().is_open()) child_->standardError().cancel();
}

awaitable<void> CapturedProcess::endTree() {
  using Background = CaptureOptions::Background;
  const auto background = state_ == State::exited ? options_.background : Background::ended;
  if (background == Background::left) co_return child_->leaveTree();
  if (background == Background::detachedLeft) child_->leaveDetached();
  if (co_await child_->endTree() == TreeEnd::survivorsLeft) {
    kLog.warning("processes of {} could not be ended", child_->pid());
  }
}

}  // namespace ravant
