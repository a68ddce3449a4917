#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "app/application.hpp"
#include "core/store/queued_prompt_store.hpp"

namespace ravant {

/// Sends the prompts that wait in conversations. Bound to the interface thread, whose loop ends before it.
///
/// A queue goes on by itself only behind a prompt that finished, and only while somebody follows: behind one that
/// failed, was cancelled or interrupted, and at the start of a program, it waits until it is told to go on, or until
/// the next prompt of the conversation finishes.
class PromptQueue {
 public:
  explicit PromptQueue(Application& application);

  QueuedPromptStore& prompts() { return *prompts_; }

  /// Sends the conversation's next prompt, whatever became of the one before, and returns why it ended; nothing where
  /// none waits, or another prompt of the conversation was first, in this process or another. Throws
  /// `PromptRefusedError`, `EffortError` and `StoreError` where it cannot be sent; it waits on then.
  awaitable<std::optional<PromptEndReason>> sendNext(ConversationId conversation);

  /// Until the change feed stops, sends what waits behind prompts that finish, whichever process ran them, and returns
  /// when what it sent is over. What cannot be sent is a failure item of its conversation, one of all that follow.
  /// Several conversations go on side by side.
  awaitable<void> follow();

 private:
  struct Followed;

  /// The conversation as soon as no run of this process stands in the way any more; nothing where one goes on, or the
  /// conversation is gone.
  awaitable<std::optional<ConversationSummary>> whenOver(ConversationId conversation);

  awaitable<void> followStore(std::shared_ptr<Followed> followed, std::shared_ptr<ChangeSubscription> changes);
  /// A prompt of this process has left the way only after its end was committed.
  awaitable<void> followRuns(std::shared_ptr<Followed> followed);
  awaitable<std::vector<ConversationId>> waiting();
  awaitable<void> goOn(ConversationId conversation, std::shared_ptr<Followed> followed);
  /// The transcript's last entry, where the queue goes on behind it.
  awaitable<std::optional<ConversationItemId>> dueBehind(ConversationId conversation,
                                                         std::shared_ptr<Followed> followed);
  awaitable<void> sendOrFail(ConversationId conversation, ConversationItemId last);

  Application& application_;
  std::shared_ptr<QueuedPromptStore> prompts_;
};

}  // namespace ravant
