#pragma once

#include <QObject>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "app/prompt_queue.hpp"
#include "core/store/draft_store.hpp"
#include "desktop/program/store_changes.hpp"

namespace ravant::desktop {

/// What is to be sent, as it stood in the composer.
struct PromptOrder {
  std::string prompt;
  Project project;
  std::optional<ConversationId> conversation;  ///< nothing for a new one
  AgentId agent;
  std::string model;
  std::optional<std::string> effort;
  /// Those of the queue that it is to wait behind, where it waited there before it was edited.
  std::optional<std::vector<QueuedPromptId>> queuedBehind = {};

  DraftPlace place() const;
};

/// A prompt that comes back: it was not sent, or waits no more because it is to be edited. Nothing of it is stored.
/// Whoever shows its place takes it into the field.
struct ReturnedPrompt {
  DraftPlace place;
  std::string prompt;
  /// Why it was not sent; empty where nobody has to be told.
  std::string words = {};
  std::optional<std::string> model = {};
  std::optional<std::string> effort = {};
  std::optional<std::vector<QueuedPromptId>> queuedBehind = {};  ///< of one that waited: those in front of it
  bool isTaken = false;
};

/// Sends prompts to their end, whatever the window shows meanwhile.
///
/// The draft of a prompt stays until the prompt is stored. One that comes back goes to who shows its place, else into
/// the place's draft, in front of what stands there. Prompts that are queued at once keep their order. On the interface
/// thread; lives as long as one of its operations is under way.
class PromptSender final : public QObject, public std::enable_shared_from_this<PromptSender> {
  Q_OBJECT

 public:
  /// Both outlive this.
  PromptSender(Application& application, StoreChanges& changes);

  DraftStore& drafts() { return *drafts_; }
  QueuedPromptStore& prompts() { return queue_.prompts(); }

  void send(PromptOrder order);
  /// Behind the other prompts of the conversation, or in front of them.
  enum class QueueEnd { back, front };
  void queue(PromptOrder order, QueueEnd end);
  /// Sends the prompt of the queue before all others: at once, or when the run of its conversation is over.
  void sendFromQueue(ConversationId conversation, QueuedPromptId prompt);
  /// Gives the prompt of the queue to the field of its conversation, once it waits no more.
  void takeFromQueue(ConversationId conversation, QueuedPromptId prompt);
  /// Gives the text to the field of the place, in front of what stands there.
  void putBack(const DraftPlace& place, std::string text);
  /// Ends what runs there; a prompt that is not yet stored comes back.
  void stop(const DraftPlace& place);

  /// Whether a prompt is on its way there that no transcript has yet.
  bool isUnderWay(const DraftPlace& place) const;
  /// Whether this very text is, or its draft is about to be removed.
  bool isUnderWay(const DraftPlace& place, const std::string& text) const;

 Q_SIGNALS:
  /// The new conversation is there, and its prompt on its way.
  void began(ravant::ProjectId project, ravant::ConversationId conversation);
  void returned(ravant::desktop::ReturnedPrompt* prompt);
  /// `isUnderWay` may have changed.
  void underWayChanged();

 private:
  enum class Way { run, queue };
  struct UnderWay {
    Way way;
    std::string prompt;
    DraftPlace draft;  ///< where its text stands
    DraftPlace place;  ///< where it goes; a refused one returns there
    /// Of all conversations, the last entry before this could be stored; nothing until then.
    std::optional<ConversationItemId> behind = {};
    bool isStored = false;
    bool isStopped = false;
  };
  struct ToQueue {
    PromptOrder order;
    QueueEnd end;
    std::shared_ptr<UnderWay> entry;
  };

  std::shared_ptr<UnderWay> enter(const PromptOrder& order, Way way);
  void leave(const std::shared_ptr<UnderWay>& entry);
  /// Among what was added to the conversation, or to any.
  void lookForPrompts(std::optional<ConversationId> conversation);
  awaitable<bool> isStored(std::shared_ptr<UnderWay> entry);
  static awaitable<void> settleOnceStored(std::shared_ptr<PromptSender> self, std::shared_ptr<UnderWay> entry);
  static awaitable<void> sendToEnd(std::shared_ptr<PromptSender> self, PromptOrder order,
                                   std::shared_ptr<UnderWay> entry);
  /// All that is to be queued in the conversation, one after another.
  static awaitable<void> addToQueue(std::shared_ptr<PromptSender> self, ConversationId conversation);
  awaitable<void> addOne(ToQueue wanted);
  static awaitable<void> takeOne(std::shared_ptr<PromptSender> self, ConversationId conversation,
                                 QueuedPromptId prompt);
  static awaitable<void> sendQueued(std::shared_ptr<PromptSender> self, ConversationId conversation,
                                    QueuedPromptId prompt);
  /// The prompt is stored: its draft is not needed any more.
  static awaitable<void> settle(std::shared_ptr<PromptSender> self, std::shared_ptr<UnderWay> entry);
  static awaitable<void> dropDraft(std::shared_ptr<DraftStore> drafts, DraftPlace place, std::string text);
  awaitable<void> submit(PromptOrder order, std::shared_ptr<UnderWay> entry);
  awaitable<void> putFirst(ConversationId conversation, QueuedPromptId prompt);
  static awaitable<void> giveBackFor(std::shared_ptr<PromptSender> self, ReturnedPrompt prompt);
  awaitable<void> giveBack(ReturnedPrompt prompt);

  Application& application_;
  PromptQueue queue_;
  std::shared_ptr<DraftStore> drafts_;
  std::list<std::shared_ptr<UnderWay>> underWay_;
  std::map<ConversationId, std::deque<ToQueue>> toQueue_;
};

}  // namespace ravant::desktop
