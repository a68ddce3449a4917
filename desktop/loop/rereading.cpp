#include "desktop/loop/rereading.hpp"

#include <exception>
#include <utility>

namespace ravant::desktop {

Rereading::Rereading(ViewModel& owner, std::function<awaitable<void>()> read, std::chrono::milliseconds rest)
    : owner_(owner), read_(std::move(read)) {
  rest_.setSingleShot(true);
  rest_.setInterval(rest);
  QObject::connect(&rest_, &QTimer::timeout, &rest_, [this] {
    if (isWanted_ && !isUnderWay_) begin();
  });
}

void Rereading::soon() {
  isWanted_ = true;
  if (!isUnderWay_ && !rest_.isActive()) begin();
}

void Rereading::now() {
  isWanted_ = true;
  isUrgent_ = true;
  if (!isUnderWay_) begin();
}

void Rereading::begin() {
  isUnderWay_ = true;
  isWanted_ = false;
  isUrgent_ = false;
  owner_.start(readOnce());
}

awaitable<void> Rereading::readOnce() {
  std::exception_ptr error;
  try {
    co_await read_();
  } catch (const std::exception&) {
    error = std::current_exception();
  }
  isUnderWay_ = false;
  rest_.start();
  if (isUrgent_) begin();
  if (error) std::rethrow_exception(error);
}

}  // namespace ravant::desktop
