#include "platform/text/line_buffer.hpp"

#include <algorithm>
#include <cstring>
#include <new>

namespace ravant {
namespace {

constexpr std::size_t kChunk = 64 * 1024;  // what a pipe holds

}  // namespace

std::optional<std::string_view> LineBuffer::tryNext() {
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

std::span<char> LineBuffer::room() {
  makeRoom(kChunk);
  return {buffer_.get() + end_, capacity_ - end_};
}

void LineBuffer::append(std::string_view bytes) {
  makeRoom(std::max(kChunk, bytes.size()));
  std::memcpy(buffer_.get() + end_, bytes.data(), bytes.size());
  end_ += bytes.size();
}

void LineBuffer::releaseMemory() {
  if (begin_ == end_) {
    buffer_.reset();
    begin_ = scanned_ = end_ = capacity_ = 0;
  } else {
    moveToFront();
    resize(end_ + kChunk);
  }
}

void LineBuffer::makeRoom(std::size_t size) {
  if (begin_ == end_) clear();
  if (capacity_ - end_ >= size) return;
  moveToFront();
  if (capacity_ - end_ < size) resize(std::max(2 * capacity_, end_ + 2 * size));
}

void LineBuffer::moveToFront() {
  if (begin_ == 0) return;
  std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
  end_ -= begin_;
  scanned_ -= begin_;
  begin_ = 0;
}

// Large blocks are moved by changing page tables, and what is new is not written to before it is read into.
void LineBuffer::resize(std::size_t capacity) {
  auto* const bytes = static_cast<char*>(std::realloc(buffer_.get(), capacity));
  if (bytes == nullptr) throw std::bad_alloc();
  static_cast<void>(buffer_.release());
  buffer_.reset(bytes);
  capacity_ = capacity;
}

}  // namespace ravant
