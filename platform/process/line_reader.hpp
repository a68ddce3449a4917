#pragma once

#include <boost/asio/posix/stream_descriptor.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/async/async.hpp"
#include "platform/text/line_buffer.hpp"

namespace ravant {

/// The lines of a pipe, as bytes and without their line feed; a carriage return before it stays. What stands behind
/// the last line feed of the stream is no line. Lines may have any length: time is linear in what is read, memory at
/// most about twice the longest line.
///
/// Runs on the pipe's executor, with one read at a time; the pipe outlives it.
class LineReader {
 public:
  explicit LineReader(asio::posix::stream_descriptor& pipe) : pipe_(pipe) {}

  /// A line that has been read already; valid until the next call of any member.
  std::optional<std::string_view> tryNext() { return buffer_.tryNext(); }
  /// Reads once more; false when nothing came before the end of the stream, also when the pipe was closed or the read
  /// cancelled. To be called when `tryNext` has nothing.
  awaitable<bool> fill();
  /// Reads what has arrived, without waiting; false where nothing has.
  bool fillNow();
  /// Nothing at the end of the stream.
  awaitable<std::optional<std::string>> next();

  bool hasEnded() const { return hasEnded_; }
  /// Takes what is in the pipe now and makes this the end of the stream, for writers that never close it. A waiting
  /// `fill` ends.
  void finish();
  /// Gives back the memory a long line took.
  void releaseMemory() { buffer_.releaseMemory(); }

 private:
  boost::system::error_code read(std::size_t most = SIZE_MAX);

  asio::posix::stream_descriptor& pipe_;
  LineBuffer buffer_;
  unsigned fills_ = 0;
  bool isWaiting_ = false;
  bool hasEnded_ = false;
};

}  // namespace ravant
