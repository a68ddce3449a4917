#pragma once

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/experimental/concurrent_channel.hpp>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/async/async.hpp"

namespace ravant {

/// An unbounded queue from any thread to one reader. Everything that arrived since the last read is
/// taken at once, so a slow reader gets fewer, longer batches.
///
/// Unlike a channel that is closed, `end` loses nothing: what was posted before it is still read.
template <class Message>
class Mailbox {
 public:
  /// The executor's context outlives the mailbox, whoever holds it last.
  explicit Mailbox(any_io_executor reader) : wake_(std::move(reader), 1) {}

  /// Called from any thread. A message posted after `end` is dropped.
  void post(Message message) {
    {
      const std::lock_guard lock(mutex_);
      if (ended_) return;
      messages_.push_back(std::move(message));
    }
    wake_.try_send(boost::system::error_code());
  }

  /// Called from any thread: the reader gets what is queued, then nothing.
  void end() {
    {
      const std::lock_guard lock(mutex_);
      ended_ = true;
    }
    wake_.try_send(boost::system::error_code());
  }

  /// Every message since the last call, at least one; nothing once the mailbox has ended.
  awaitable<std::optional<std::vector<Message>>> next() {
    for (;;) {
      {
        const std::lock_guard lock(mutex_);
        if (!messages_.empty()) co_return std::exchange(messages_, {});
        if (ended_) co_return std::nullopt;
      }
      co_await wake_.async_receive(asio::as_tuple(use_awaitable));
    }
  }

 private:
  std::mutex mutex_;
  std::vector<Message> messages_;
  bool ended_ = false;
  asio::experimental::concurrent_channel<void(boost::system::error_code)> wake_;
};

}  // namespace ravant
