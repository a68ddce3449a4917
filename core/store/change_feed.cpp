#include "core/store/change_feed.hpp"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <cerrno>
#include <system_error>

#include "core/store/change_record.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "ChangeFeed");

int watchedFile(const std::filesystem::path& file) {
  const int descriptor = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(),
                            "changes of the store cannot be watched (see fs.inotify.max_user_instances)");
  }
  if (::inotify_add_watch(descriptor, file.c_str(), IN_MODIFY) < 0) {
    const int reason = errno;
    ::close(descriptor);
    throw std::system_error(reason, std::generic_category(), file.string());
  }
  return descriptor;
}

void discardEvents(int descriptor) {
  std::array<char, 4096> events;
  while (::read(descriptor, events.data(), events.size()) > 0) {
  }
}

}  // namespace

awaitable<std::optional<ChangeBatch>> ChangeSubscription::next() {
  auto batches = co_await mailbox_.next();
  if (!batches) co_return std::nullopt;
  ChangeBatch all;
  for (ChangeBatch& batch : *batches) {
    all.isIncomplete |= batch.isIncomplete;
    std::ranges::move(batch.changes, std::back_inserter(all.changes));
  }
  co_return all;
}

struct ChangeFeed::State {
  State(const Strand& strand, sqlite::Database connection, std::filesystem::path noticeFile)
      : database(std::move(connection)), reader(database), noticeFile(std::move(noticeFile)), notice(strand) {}

  sqlite::Database database;
  ChangeReader reader;
  std::filesystem::path noticeFile;
  asio::posix::stream_descriptor notice;
  std::vector<std::weak_ptr<ChangeSubscription>> subscriptions;
  std::int64_t lastSequence = 0;
  bool stopped = false;
};

ChangeFeed::ChangeFeed(any_io_executor pool, sqlite::Database connection, const std::filesystem::path& noticeFile)
    : Actor(std::move(pool)), state_(std::make_unique<State>(strand(), std::move(connection), noticeFile)) {}

ChangeFeed::~ChangeFeed() = default;

awaitable<std::shared_ptr<ChangeSubscription>> ChangeFeed::subscribe(any_io_executor observer) {
  return onActor([this, observer]() -> awaitable<std::shared_ptr<ChangeSubscription>> {
    auto subscription = std::make_shared<ChangeSubscription>(observer);
    if (state_->stopped) {
      subscription->end();
      co_return subscription;
    }
    if (!state_->notice.is_open()) {
      state_->notice.assign(watchedFile(state_->noticeFile));
      state_->lastSequence = state_->reader.lastSequence();
      asio::co_spawn(
          strand(), [self = shared_from_this(), this] { return watch(); },
          [](std::exception_ptr error) {
            if (error) kLog.error("the feed of changes has ended with an error");
          });
    } else {
      publish();
    }
    state_->subscriptions.push_back(subscription);
    isObserved_ = true;
    co_return subscription;
  });
}

awaitable<void> ChangeFeed::announceGrowth(ConversationId conversation, Growth growth) {
  return announce({.entity = conversation,
                   .operation = ChangeOperation::grew,
                   .conversation = conversation,
                   .growth = std::move(growth)});
}

awaitable<void> ChangeFeed::announceState(ConversationId conversation, RunState state) {
  return announce({.entity = conversation,
                   .operation = ChangeOperation::went,
                   .conversation = conversation,
                   .state = std::move(state)});
}

awaitable<void> ChangeFeed::announce(Change change) {
  if (!isObserved_) return []() -> awaitable<void> { co_return; }();
  return onActor([this, change = std::move(change)]() mutable -> awaitable<void> {
    publish();
    hand({.changes = {std::move(change)}});
    co_return;
  });
}

awaitable<void> ChangeFeed::flush() {
  return onActor([this]() -> awaitable<void> {
    publish();
    co_return;
  });
}

awaitable<void> ChangeFeed::stop() {
  return onActor([this]() -> awaitable<void> {
    state_->stopped = true;
    if (state_->notice.is_open()) state_->notice.close();
    for (const auto& weak : state_->subscriptions) {
      if (const auto subscription = weak.lock()) subscription->end();
    }
    state_->subscriptions.clear();
    co_return;
  });
}

awaitable<void> ChangeFeed::watch() {
  for (;;) {
    const auto [error] =
        co_await state_->notice.async_wait(asio::posix::descriptor_base::wait_read, asio::as_tuple(use_awaitable));
    if (error || state_->stopped) co_return;
    discardEvents(state_->notice.native_handle());
    publish();
  }
}

void ChangeFeed::publish() {
  std::erase_if(state_->subscriptions, [](const auto& subscription) { return subscription.expired(); });
  try {
    if (state_->subscriptions.empty()) {
      isObserved_ = false;
      // What is committed while nobody listens is none of the next observer's business.
      state_->lastSequence = state_->reader.lastSequence();
      return;
    }
    const ChangeBatch batch = state_->reader.readAfter(state_->lastSequence);
    if (!batch.changes.empty() || batch.isIncomplete) hand(batch);
  } catch (const sqlite::Error& error) {
    kLog.error("changes could not be read: {}", error.what());
  }
}

void ChangeFeed::hand(const ChangeBatch& batch) {
  for (const auto& weak : state_->subscriptions) {
    if (const auto subscription = weak.lock()) subscription->mailbox_.post(batch);
  }
}

}  // namespace ravant
