#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/async/mailbox.hpp"

namespace ravant {

struct Notification {
  std::string name;
  /// The id of the entity it is about.
  std::string object;
  std::map<std::string, std::string> userInfo = {};

  friend bool operator==(const Notification&, const Notification&) = default;
};

/// The notifications of one name, from when it was made until it or the center is destroyed.
class NotificationObserver {
 public:
  using Inbox = Mailbox<Notification>;

  explicit NotificationObserver(std::shared_ptr<Inbox> inbox) : inbox_(std::move(inbox)) {}
  ~NotificationObserver() { inbox_->end(); }
  NotificationObserver(const NotificationObserver&) = delete;
  NotificationObserver& operator=(const NotificationObserver&) = delete;

  /// Everything posted since the last call, in order, at least one; nothing at the end. One call at a time. May be
  /// waiting while the observer is destroyed.
  awaitable<std::optional<std::vector<Notification>>> next() { return next(inbox_); }

 private:
  static awaitable<std::optional<std::vector<Notification>>> next(std::shared_ptr<Inbox> inbox) {
    co_return co_await inbox->next();
  }

  std::shared_ptr<Inbox> inbox_;
};

/// Announces what happened to whoever is interested, from and to any thread. All observers see one order.
class NotificationCenter {
 public:
  NotificationCenter() = default;
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  void post(const Notification& notification);

  /// `reader` is where the observer's `next` is awaited; its loop outlives the observer.
  std::shared_ptr<NotificationObserver> observe(std::string name, any_io_executor reader);

 private:
  std::mutex mutex_;
  std::multimap<std::string, std::weak_ptr<NotificationObserver::Inbox>> inboxes_;
};

}  // namespace ravant
