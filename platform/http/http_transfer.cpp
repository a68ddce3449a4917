#include "platform/http/http_transfer.hpp"

#include <fmt/format.h>

#include <boost/asio/post.hpp>
#include <utility>

namespace ravant {
namespace {

constexpr std::size_t kBodyLimit = 256 * 1024;

}  // namespace

void HttpTransfer::onHead(HttpHead head) {
  const std::lock_guard lock(mutex_);
  hasHead_ = true;
  head_ = std::move(head);
  lastProgress_ = Clock::now();
  wakeReader();
}

bool HttpTransfer::onBody(std::string_view bytes) {
  const std::lock_guard lock(mutex_);
  if (!body_.empty() && body_.size() + bytes.size() > kBodyLimit) {
    isPaused_ = true;
    return false;
  }
  body_.append(bytes);
  lastProgress_ = Clock::now();
  wakeReader();
  return true;
}

void HttpTransfer::onProgress() {
  const std::lock_guard lock(mutex_);
  lastProgress_ = Clock::now();
}

void HttpTransfer::onEnd(std::optional<HttpError> error) {
  const std::lock_guard lock(mutex_);
  if (std::exchange(hasEnded_, true)) return;
  error_ = std::move(error);
  if (!error_ && !hasHead_) error_.emplace(HttpError::Case::noResponse, "the server sent no response");
  wakeReader();
}

std::optional<HttpHead> HttpTransfer::takeHead() {
  const std::lock_guard lock(mutex_);
  isWaking_ = false;
  if (!head_ || (error_ && error_->kind() == HttpError::Case::cancelled)) throwError();
  return std::exchange(head_, std::nullopt);
}

HttpTransfer::Taken HttpTransfer::takeBody(std::string& bytes) {
  bytes.clear();
  const std::lock_guard lock(mutex_);
  isWaking_ = false;
  if (body_.empty() || (error_ && error_->kind() == HttpError::Case::cancelled)) throwError();
  bytes.swap(body_);
  return {.hasEnded = bytes.empty() && hasEnded_, .hasMadeRoom = std::exchange(isPaused_, false)};
}

awaitable<void> HttpTransfer::wait(std::chrono::milliseconds stallLimit) {
  const auto began = Clock::now();
  Clock::time_point deadline;
  {
    const std::lock_guard lock(mutex_);
    if (isWaking_) co_return;
    deadline = std::max(lastProgress_, began) + stallLimit;
  }
  co_await arrived_->wait(deadline);
  const std::lock_guard lock(mutex_);
  if (isWaking_ || hasEnded_ || std::max(lastProgress_, began) + stallLimit > Clock::now()) co_return;
  throw HttpError(HttpError::Case::stalled,
                  fmt::format("nothing came for {} s", std::chrono::duration<double>(stallLimit).count()));
}

void HttpTransfer::detach() {
  const std::lock_guard lock(mutex_);
  reader_.reset();
  arrived_.reset();
}

void HttpTransfer::wakeReader() {
  if (!reader_ || std::exchange(isWaking_, true)) return;
  asio::post(*reader_, [arrived = arrived_] { arrived->notify(); });
}

void HttpTransfer::throwError() const {
  if (error_) throw *error_;
}

}  // namespace ravant
