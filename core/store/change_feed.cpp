#include "core/store/change_feed.hpp"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <chrono>
#include <map>
#include <system_error>
#include <tuple>

#include "core/store/change_record.hpp"
#include "platform/log/log.hpp"
#include "platform/process/unique_fd.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "ChangeFeed");
constexpr std::chrono::milliseconds kLookInterval{200};

/// A descriptor that can be read when the file was written, where the system has one left.
UniqueFd watchedFile(const std::filesystem::path& file) {
  UniqueFd descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (descriptor && ::inotify_add_watch(descriptor.get(), file.c_str(), IN_MODIFY) >= 0) return descriptor;
  kLog.warning("changes of the store are looked for {} times a second, because the system does not announce them: {}",
               std::chrono::seconds(1) / kLookInterval, std::generic_category().message(errno));
  return {};
}

void discardEvents(int descriptor) {
  std::array<char, 4096> events;
  while (::read(descriptor, events.data(), events.size()) > 0) {
  }
}

Change went(ConversationId conversation, std::optional<RunState> state) {
  return {.entity = conversation,
          .operation = ChangeOperation::went,
          .conversation = conversation,
          .state = std::move(state)};
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
      : database(std::move(connection)),
        reader(database),
        noticeFile(std::move(noticeFile)),
        notice(strand),
        pause(strand) {}

  sqlite::Database database;
  ChangeReader reader;
  std::filesystem::path noticeFile;
  asio::posix::stream_descriptor notice;  ///< open where the file is watched
  asio::steady_timer pause;               ///< between two looks, where it is not
  std::vector<std::weak_ptr<ChangeSubscription>> subscriptions;
  std::map<ConversationId, RunState> runs;
  std::int64_t lastSequence = 0;
  bool isWatching = false;
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
    if (state_->isWatching) {
      publish();
    } else {
      startWatching();
    }
    ChangeBatch present;
    for (const auto& [conversation, state] : state_->runs) present.changes.push_back(went(conversation, state));
    if (!present.changes.empty()) subscription->mailbox_.post(std::move(present));
    state_->subscriptions.push_back(subscription);
    isObserved_ = true;
    co_return subscription;
  });
}

void ChangeFeed::startWatching() {
  state_->lastSequence = state_->reader.lastSequence();
  state_->isWatching = true;
  if (UniqueFd file = watchedFile(state_->noticeFile)) {
    boost::system::error_code refused;
    state_->notice.assign(file.get(), refused);
    if (!refused) std::ignore = file.release();
  }
  asio::co_spawn(
      strand(), [self = shared_from_this(), this] { return watch(); },
      [](std::exception_ptr error) {
        if (error) kLog.error("the feed of changes has ended with an error");
      });
}

awaitable<void> ChangeFeed::announceGrowth(ConversationId conversation, Growth growth) {
  if (!isObserved_) return []() -> awaitable<void> { co_return; }();
  return onActor([this, conversation, growth = std::move(growth)]() mutable -> awaitable<void> {
    publish();
    hand({.changes = {{.entity = conversation,
                       .operation = ChangeOperation::grew,
                       .conversation = conversation,
                       .growth = std::move(growth)}}});
    co_return;
  });
}

awaitable<void> ChangeFeed::announceState(ConversationId conversation, RunState state) {
  return onActor([this, conversation, state = std::move(state)]() -> awaitable<void> {
    state_->runs.insert_or_assign(conversation, state);
    publish();
    hand({.changes = {went(conversation, state)}});
    co_return;
  });
}

awaitable<void> ChangeFeed::announceRunEnd(ConversationId conversation) {
  return onActor([this, conversation]() -> awaitable<void> {
    if (state_->runs.erase(conversation) == 0) co_return;
    publish();
    hand({.changes = {went(conversation, std::nullopt)}});
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
    state_->pause.cancel();
    for (const auto& weak : state_->subscriptions) {
      if (const auto subscription = weak.lock()) subscription->end();
    }
    state_->subscriptions.clear();
    co_return;
  });
}

awaitable<void> ChangeFeed::watch() {
  while (co_await awaitCommit() && !state_->stopped) publish();
}

awaitable<bool> ChangeFeed::awaitCommit() {
  if (!state_->notice.is_open()) {
    state_->pause.expires_after(kLookInterval);
    const auto [cancelled] = co_await state_->pause.async_wait(asio::as_tuple(use_awaitable));
    co_return !cancelled;
  }
  const auto [error] =
      co_await state_->notice.async_wait(asio::posix::descriptor_base::wait_read, asio::as_tuple(use_awaitable));
  if (error || state_->stopped) co_return false;
  discardEvents(state_->notice.native_handle());
  co_return true;
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
