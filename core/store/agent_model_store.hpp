#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/agent.hpp"
#include "core/agent_model.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class AgentModelOperations;

/// Creates, changes and lists agents and their models. Every operation is one transaction. All throw
/// `StoreError`; those that return a bool say whether the agent or model exists.
class AgentModelStore : public StoreActor<AgentModelOperations> {
 public:
  static std::shared_ptr<AgentModelStore> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit AgentModelStore(std::shared_ptr<ModelContainer> modelContainer);
  ~AgentModelStore() override;

  /// Adds an enabled agent behind the others, with its models in the order given. The conversations of its type that
  /// came from elsewhere while there was no such agent are its from now on.
  awaitable<Agent> createAgent(AgentType type, std::string path, std::vector<ProbedModel> models);
  /// Adds the agent only where no agent of its type exists; nothing otherwise.
  awaitable<std::optional<Agent>> createAgentIfMissing(AgentType type, std::string path,
                                                       std::vector<ProbedModel> models);
  awaitable<bool> setPath(AgentId id, std::string path);
  /// Nothing stands for the type's usual ones.
  awaitable<bool> setArguments(AgentId id, std::optional<std::vector<std::string>> arguments);
  awaitable<bool> setEnabled(AgentId id, bool enabled);
  /// Puts the named agents first, in that order; the others follow as they were.
  awaitable<void> reorder(std::vector<AgentId> orderedIds);
  /// Takes the agent's models with it; its conversations stay, without an agent.
  awaitable<bool> removeAgent(AgentId id);

  /// Adds a model that the user names by its slug, or renames and enables it where it is listed.
  awaitable<bool> addCustomModel(AgentId agent, std::string slug, std::string displayName);
  awaitable<bool> setModelEnabled(AgentId agent, std::string slug, bool enabled);
  /// Replaces what was discovered by `models`: what the user added, or enabled or disabled, stays so.
  awaitable<bool> refreshModels(AgentId agent, std::vector<ProbedModel> models);

  /// In their order.
  awaitable<std::vector<Agent>> agents();
  /// In their order, behind each other for all agents where none is named.
  awaitable<std::vector<AgentModel>> models(std::optional<AgentId> agent);
};

}  // namespace ravant
