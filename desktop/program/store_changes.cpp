#include "desktop/program/store_changes.hpp"

#include <algorithm>
#include <map>

#include "core/overloaded.hpp"
#include "desktop/loop/interface_loop.hpp"

namespace ravant::desktop {

awaitable<void> StoreChanges::follow(std::shared_ptr<ChangeFeed> feed) {
  const auto changes = co_await feed->subscribe(InterfaceLoop::instance().executor());
  while (const std::optional<ChangeBatch> batch = co_await changes->next()) announce(*batch);
}

void StoreChanges::announce(const ChangeBatch& batch) {
  Q_EMIT committed(batch);
  if (batch.isIncomplete) Q_EMIT everythingChanged();
  std::map<Change::EntityId, std::size_t> last;
  for (std::size_t index = 0; index < batch.changes.size(); ++index) {
    const Change& change = batch.changes[index];
    if (!change.growth && change.operation != ChangeOperation::went) last.insert_or_assign(change.entity, index);
  }
  for (std::size_t index = 0; index < batch.changes.size(); ++index) {
    const Change& change = batch.changes[index];
    if (change.growth) {
      Q_EMIT grew(*change.conversation, *change.growth);
    } else if (change.operation == ChangeOperation::went) {
      Q_EMIT runChanged(*change.conversation, change.state);
    } else if (!batch.isIncomplete && last.at(change.entity) == index) {
      announceEntity(change);
    }
  }
}

void StoreChanges::announceEntity(const Change& change) {
  std::visit(
      Overloaded{[&](ProjectId id) { Q_EMIT projectChanged(id, change.operation); },
                 [&](ConversationId id) { Q_EMIT conversationChanged(id, change.operation); },
                 [&](ConversationItemId id) { Q_EMIT itemChanged(*change.conversation, id, change.operation); },
                 [&](ToolInvocationId id) { Q_EMIT invocationChanged(*change.conversation, id, change.operation); },
                 [&](QueuedPromptId) { Q_EMIT queueChanged(*change.conversation); },
                 [&](AgentId) { Q_EMIT agentsChanged(); }, [&](AgentModelId) { Q_EMIT agentsChanged(); },
                 [](const auto&) {}},
      change.entity);
}

}  // namespace ravant::desktop
