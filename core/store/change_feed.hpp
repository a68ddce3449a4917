#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <variant>
#include <vector>

#include "core/growth.hpp"
#include "core/id.hpp"
#include "core/run_state.hpp"
#include "platform/async/actor.hpp"
#include "platform/async/mailbox.hpp"
#include "platform/sqlite/database.hpp"

namespace ravant {

/// `grew` and `went` are of nothing that is stored: a text that the agent is still writing, and what its run does now.
enum class ChangeOperation { inserted, updated, removed, grew, went };

/// One changed entity. Parts of a transcript name their conversation too; messages' blocks change
/// with their item. Removing an entity is announced once, not for everything that it owned.
struct Change {
  /// In an order that never changes, for the store numbers the kinds by it.
  using EntityId = std::variant<ProjectId, AgentId, AgentModelId, ConversationId, ConversationItemId, ToolInvocationId,
                                GithubIntegrationId, GithubRepositoryId, GithubPullRequestId, GithubPullDetailCacheId,
                                LinearIntegrationId, LinearTeamId, LinearIssueId, PinnedItemId, QueuedPromptId>;

  EntityId entity;
  ChangeOperation operation;
  std::optional<ConversationId> conversation;
  std::optional<Growth> growth = {};   ///< of `grew`
  std::optional<RunState> state = {};  ///< of `went`; absent when the run is over

  bool operator==(const Change&) const = default;
};

/// What was committed since the last batch, in order.
struct ChangeBatch {
  std::vector<Change> changes;
  /// Set when an observer was away for so long that changes are no longer known one by one:
  /// everything it shows is to be read again.
  bool isIncomplete = false;
};

/// A stream of changes that ends when the feed stops or `end` is called. One reader, on the
/// executor given to `ChangeFeed::subscribe`.
class ChangeSubscription {
 public:
  explicit ChangeSubscription(any_io_executor observer) : mailbox_(std::move(observer)) {}

  /// The next batch, with everything that arrived meanwhile; nothing at the end.
  awaitable<std::optional<ChangeBatch>> next();
  void end() { mailbox_.end(); }

 private:
  friend class ChangeFeed;
  Mailbox<ChangeBatch> mailbox_;
};

/// Announces the ids of what was committed, by this process or another one, after the commit.
///
/// Writers record their changes in the store inside their own transaction and then touch a file
/// beside it, which wakes the feeds of all processes. Where the file cannot be watched, they look by themselves, a few
/// times a second.
class ChangeFeed : public Actor {
 public:
  /// `connection` is the feed's own; `noticeFile` is the file that writers touch.
  ChangeFeed(any_io_executor pool, sqlite::Database connection, const std::filesystem::path& noticeFile);
  ~ChangeFeed() override;

  /// Announces to the returned stream what is committed from now on, and first the present state of every run of this
  /// process.
  awaitable<std::shared_ptr<ChangeSubscription>> subscribe(any_io_executor observer);

  /// Announces, to observers in this process and behind everything committed before, what came to the message that
  /// the conversation's agent is writing. The message itself is announced when it is stored.
  awaitable<void> announceGrowth(ConversationId conversation, Growth growth);
  /// Announces likewise what the conversation's run does or waits for now, and remembers it until the run's end.
  awaitable<void> announceState(ConversationId conversation, RunState state);
  awaitable<void> announceRunEnd(ConversationId conversation);

  /// Returns when every change committed before the call has been handed to the subscriptions.
  awaitable<void> flush();

  /// Ends every stream; the feed announces nothing afterwards.
  awaitable<void> stop();

 private:
  struct State;

  void startWatching();
  awaitable<void> watch();
  /// Until something may have been committed; false where there is nothing to wait for.
  awaitable<bool> awaitCommit();
  void publish();
  void hand(const ChangeBatch& batch);

  std::unique_ptr<State> state_;
  std::atomic<bool> isObserved_ = false;  ///< perhaps; when it is not set, certainly not
};

}  // namespace ravant
