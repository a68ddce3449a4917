#include "platform/process/line_reader.hpp"

#include <sys/ioctl.h>

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <span>
#include <utility>

namespace ravant {
namespace {

constexpr unsigned kFillsBetweenTurns = 16;

}  // namespace

awaitable<bool> LineReader::fill() {
  const std::size_t unread = buffer_.unread().size();
  while (!hasEnded_ && buffer_.unread().size() == unread) {
    // Through a flood it reads on without waiting, but lets others of its executor run now and then.
    const bool isTurnOfOthers = ++fills_ % kFillsBetweenTurns == 0;
    if (!isTurnOfOthers && read() != boost::system::error_code(asio::error::would_block)) continue;
    isWaiting_ = true;
    const auto [error] =
        co_await pipe_.async_wait(asio::posix::stream_descriptor::wait_read, asio::as_tuple(use_awaitable));
    isWaiting_ = false;
    if (error) {
      hasEnded_ = true;
    } else if (!hasEnded_) {
      read();
    }
  }
  co_return buffer_.unread().size() > unread;
}

bool LineReader::fillNow() {
  const std::size_t unread = buffer_.unread().size();
  if (!hasEnded_ && !isWaiting_) read();
  return buffer_.unread().size() > unread;
}

awaitable<std::optional<std::string>> LineReader::next() {
  for (;;) {
    if (const auto line = tryNext()) co_return std::string(*line);
    if (!co_await fill()) co_return std::nullopt;
  }
}

void LineReader::finish() {
  if (std::exchange(hasEnded_, true)) return;
  if (isWaiting_) pipe_.cancel();
  int available = 0;
  ::ioctl(pipe_.native_handle(), FIONREAD, &available);
  for (auto left = static_cast<std::size_t>(std::max(available, 0)); left > 0;) {
    const std::size_t before = buffer_.unread().size();
    if (read(left)) return;
    left -= buffer_.unread().size() - before;
  }
}

boost::system::error_code LineReader::read(std::size_t most) {
  boost::system::error_code error;
  if (!pipe_.non_blocking()) pipe_.non_blocking(true);
  const std::span<char> room = buffer_.room();
  buffer_.commit(pipe_.read_some(asio::buffer(room.data(), std::min(most, room.size())), error));
  if (error && error != asio::error::would_block) hasEnded_ = true;
  return error;
}

}  // namespace ravant
