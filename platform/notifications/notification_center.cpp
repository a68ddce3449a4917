#include "platform/notifications/notification_center.hpp"

namespace ravant {

NotificationCenter::~NotificationCenter() {
  for (const auto& [name, weakInbox] : inboxes_) {
    if (const auto inbox = weakInbox.lock()) inbox->end();
  }
}

void NotificationCenter::post(const Notification& notification) {
  const std::lock_guard lock(mutex_);
  const auto [first, last] = inboxes_.equal_range(notification.name);
  for (auto at = first; at != last;) {
    if (const auto inbox = at->second.lock()) {
      inbox->post(notification);
      ++at;
    } else {
      at = inboxes_.erase(at);
    }
  }
}

std::shared_ptr<NotificationObserver> NotificationCenter::observe(std::string name, any_io_executor reader) {
  auto inbox = std::make_shared<NotificationObserver::Inbox>(std::move(reader));
  const std::lock_guard lock(mutex_);
  inboxes_.emplace(std::move(name), inbox);
  return std::make_shared<NotificationObserver>(std::move(inbox));
}

}  // namespace ravant
