#include "desktop/program/store_changes.hpp"

#include <algorithm>
#include <map>

#include "core/overloaded.hpp"
#include "desktop/loop/interface_loop.hpp"

namespace ravant::desktop {
namespace {

/// What two operations on an entity, one after the other, are for whoever saw neither.
ChangeOperation both(ChangeOperation earlier, ChangeOperation later) {
  const bool isStillNew = earlier == ChangeOperation::inserted && later == ChangeOperation::updated;
  return isStillNew ? earlier : later;
}

}  // namespace

awaitable<void> StoreChanges::follow(std::shared_ptr<ChangeFeed> feed) {
  const auto changes = co_await feed->subscribe(InterfaceLoop::instance().executor());
  while (const std::optional<ChangeBatch> batch = co_await changes->next()) announce(*batch);
}

void StoreChanges::announce(const ChangeBatch& batch) {
  Q_EMIT committed(batch);
  if (batch.isIncomplete) Q_EMIT everythingChanged();
  struct Outcome {
    std::size_t index;
    ChangeOperation operation;
  };
  std::map<Change::EntityId, Outcome> outcomes;
  for (std::size_t index = 0; index < batch.changes.size(); ++index) {
    const Change& change = batch.changes[index];
    if (change.growth || change.operation == ChangeOperation::went) continue;
    const auto [outcome, isFirst] = outcomes.try_emplace(change.entity, index, change.operation);
    if (!isFirst) outcome->second = {index, both(outcome->second.operation, change.operation)};
  }
  for (std::size_t index = 0; index < batch.changes.size(); ++index) {
    const Change& change = batch.changes[index];
    if (change.growth) {
      Q_EMIT grew(*change.conversation, *change.growth);
    } else if (change.operation == ChangeOperation::went) {
      Q_EMIT runChanged(*change.conversation, change.state);
    } else if (const Outcome& outcome = outcomes.at(change.entity); !batch.isIncomplete && outcome.index == index) {
      announceEntity(change, outcome.operation);
    }
  }
}

void StoreChanges::announceEntity(const Change& change, ChangeOperation operation) {
  std::visit(Overloaded{[&](ProjectId id) { Q_EMIT projectChanged(id, operation); },
                        [&](ConversationId id) { Q_EMIT conversationChanged(id, operation); },
                        [&](ConversationItemId id) { Q_EMIT itemChanged(*change.conversation, id, operation); },
                        [&](ToolInvocationId id) { Q_EMIT invocationChanged(*change.conversation, id, operation); },
                        [&](QueuedPromptId) { Q_EMIT queueChanged(*change.conversation); },
                        [&](AgentId) { Q_EMIT agentsChanged(); }, [&](AgentModelId) { Q_EMIT agentsChanged(); },
                        [](const auto&) {}},
             change.entity);
}

}  // namespace ravant::desktop
