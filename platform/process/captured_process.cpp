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

constexpr Log kLog("com.ravant.platform", "CapturedProcess");
constexpr auto kReadingAfterExit = 200ms;

}  // namespace

CapturedProcess::CapturedProcess(CaptureOptions options, const any_io_executor& strand)
    : options_(std::move(options)),
      child_(ChildProcess::launch(options_.launch, strand)),
      limit_(strand, options_.limit),
      grace_(strand),
      openPipes_(options_.launch.standardError == StandardError::pipe ? 2 : 1) {}

awaitable<void> CapturedProcess::run() {
  using namespace asio::experimental::awaitable_operators;
  const auto readOutput = [this] {
    return readAll(&child_->standardOutput(), [this](std::string_view piece) { takeIn(piece); });
  };
  const auto readError = [this] {
    return readAll(&child_->standardError(), [this](std::string_view piece) { error_.append(piece); });
  };
  co_await (readOutput() && readError() && watchExit() && watchLimit());
  if (end_ == End::ownAccord && options_.background == CaptureOptions::Background::left) {
    child_->leaveTree();
  } else if (isGivenUp_ || co_await child_->endTree() == TreeEnd::survivorsLeft) {
    kLog.warning("processes of {} could not be ended", child_->pid());
  }
}

void CapturedProcess::stop() {
  if (end_ == End::ownAccord) end_ = End::stopped;
  limit_.cancel();
  grace_.cancel();
}

void CapturedProcess::takeIn(std::string_view piece) {
  const std::string_view kept = piece.substr(0, options_.outputLimit - output_.size());
  output_.append(kept);
  if (kept.size() == piece.size()) return;
  hasTooMuchOutput_ = true;
  if (options_.excess == CaptureOptions::Excess::ended) child_->kill();
}

template <class Take>
awaitable<void> CapturedProcess::readAll(asio::posix::stream_descriptor* pipe, Take take) {
  if (!pipe->is_open()) co_return;
  std::array<char, 16 * 1024> piece;
  for (;;) {
    const auto [error, count] = co_await pipe->async_read_some(asio::buffer(piece), asio::as_tuple(use_awaitable));
    if (error || isReadingOver_) break;
    take(std::string_view(piece.data(), count));
  }
  if (--openPipes_ == 0) grace_.cancel();
}

awaitable<void> CapturedProcess::watchExit() {
  const bool hasExited = (co_await child_->waitForExit()).has_value();
  limit_.cancel();
  if (openPipes_ == 0) co_return;
  if (hasExited) {
    grace_.expires_after(kReadingAfterExit);
    co_await grace_.async_wait(asio::as_tuple(use_awaitable));
  }
  // Told, too: what is read without waiting cannot be cancelled.
  isReadingOver_ = true;
  child_->standardOutput().cancel();
  if (child_->standardError().is_open()) child_->standardError().cancel();
}

awaitable<void> CapturedProcess::watchLimit() {
  if (!child_->isRunning()) co_return;
  if (end_ != End::stopped) co_await limit_.async_wait(asio::as_tuple(use_awaitable));
  if (!child_->isRunning()) co_return;
  if (end_ == End::ownAccord) end_ = End::timedOut;
  if (co_await child_->endTree() == TreeEnd::complete) co_return;
  isGivenUp_ = true;
  child_->stopWaiting();
}

}  // namespace ravant
