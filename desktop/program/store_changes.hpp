#pragma once

#include <QObject>
#include <memory>

#include "core/store/change_feed.hpp"

namespace ravant::desktop {

/// The change feed as signals: of all that was committed since the last time, whichever process did it, each entity
/// once, with what all that happened to it comes to.
///
/// Holds the process's one subscription. On the interface thread.
class StoreChanges final : public QObject {
  Q_OBJECT

 public:
  using QObject::QObject;

  /// Until the feed stops.
  awaitable<void> follow(std::shared_ptr<ChangeFeed> feed);

 Q_SIGNALS:
  void projectChanged(ProjectId project, ChangeOperation operation);
  /// Also its draft, and whether it was looked at.
  void conversationChanged(ConversationId conversation, ChangeOperation operation);
  void itemChanged(ConversationId conversation, ConversationItemId item, ChangeOperation operation);
  void invocationChanged(ConversationId conversation, ToolInvocationId invocation, ChangeOperation operation);
  void queueChanged(ConversationId conversation);
  /// Agents or their models.
  void agentsChanged();
  /// Not once for each batch, but in order: each has its own text.
  void grew(ConversationId conversation, const Growth& growth);
  /// What a run does now; nothing when it is over.
  void runChanged(ConversationId conversation, const std::optional<RunState>& state);
  /// Too much has happened to tell: whatever is shown is read again.
  void everythingChanged();
  /// The batch itself, before the signals of its parts: for what takes batches.
  void committed(const ChangeBatch& batch);

 private:
  void announce(const ChangeBatch& batch);
  void announceEntity(const Change& change, ChangeOperation operation);
};

}  // namespace ravant::desktop
