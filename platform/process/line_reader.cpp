#include "platform/process/line_reader.hpp"

#include <sys/ioctl.h>

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <cstring>
#include <new>
#include <utility>

namespace ravant {
namespace {

constexpr std::size_t kChunk = 64 * 1024;  // what a pipe holds
constexpr unsigned kFillsBetweenTurns = 16;

}  // namespace

std::optional<std::string_view> LineReader::tryNext() {
  const char* const bytes = buffer_.get();
  const void* found = scanned_ < end_ ? std::memchr(bytes + scanned_, '\n', end_ - scanned_) : nullptr;
  if (found == nullptr) {
    scanned_ = end_;
    return std::nullopt;
  }
  const auto lineEnd = static_cast<std::size_t>(static_cast<const char*>(found) - bytes);
  const std::string_view line(bytes + begin_, lineEnd - begin_);
  begin_ = scanned_ = lineEnd + 1;
  return line;
}

awaitable<bool> LineReader::fill() {
  const std::size_t unread = end_ - begin_;
  while (!hasEnded_ && end_ - begin_ == unread) {
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
  co_return end_ - begin_ > unread;
}

bool LineReader::fillNow() {
  const std::size_t unread = end_ - begin_;
  if (!hasEnded_ && !isWaiting_) read();
  return end_ - begin_ > unread;
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
    const std::size_t before = end_ - begin_;
    if (read(left)) return;
    left -= end_ - begin_ - before;
  }
}

boost::system::error_code LineReader::read(std::size_t most) {
  boost::system::error_code error;
  if (!pipe_.non_blocking()) pipe_.non_blocking(true);
  makeRoom();
  end_ += pipe_.read_some(asio::buffer(buffer_.get() + end_, std::min(most, capacity_ - end_)), error);
  if (error && error != asio::error::would_block) hasEnded_ = true;
  return error;
}

void LineReader::releaseMemory() {
  if (begin_ == end_) {
    buffer_.reset();
    begin_ = scanned_ = end_ = capacity_ = 0;
  } else {
    moveToFront();
    resize(end_ + kChunk);
  }
}

void LineReader::makeRoom() {
  if (begin_ == end_) begin_ = scanned_ = end_ = 0;
  if (capacity_ - end_ >= kChunk) return;
  moveToFront();
  if (capacity_ - end_ < kChunk) resize(std::max(2 * capacity_, 2 * kChunk));
}

void LineReader::moveToFront() {
  if (begin_ == 0) return;
  std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
  end_ -= begin_;
  scanned_ -= begin_;
  begin_ = 0;
}

// Large blocks are moved by changing page tables, and what is new is not written to before it is read into.
void LineReader::resize(std::size_t capacity) {
  auto* const bytes = static_cast<char*>(std::realloc(buffer_.get(), capacity));
  if (bytes == nullptr) throw std::bad_alloc();
  static_cast<void>(buffer_.release());
  buffer_.reset(bytes);
  capacity_ = capacity;
}

}  // namespace ravant
