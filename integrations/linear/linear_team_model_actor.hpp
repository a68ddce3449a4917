#pragma once

#include <memory>
#include <vector>

#include "core/integrations/linear_integration.hpp"
#include "core/store/store_actor.hpp"
#include "integrations/linear/linear_payloads.hpp"

namespace ravant {

class LinearTeamOperations;

/// The teams of the workspaces. All operations throw `StoreError`, and `std::runtime_error` "unknown integration " with
/// the id.
class LinearTeamModelActor : public StoreActor<LinearTeamOperations> {
 public:
  static std::shared_ptr<LinearTeamModelActor> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit LinearTeamModelActor(std::shared_ptr<ModelContainer> modelContainer);
  ~LinearTeamModelActor() override;

  /// Stores the teams of an answer. Those that are not among them are removed, unless there are so many that Linear
  /// may have more.
  awaitable<void> sync(std::vector<LinearTeamPayload> teams, LinearIntegrationId integration);
  /// By name.
  awaitable<std::vector<LinearTeam>> teams(LinearIntegrationId integration);
};

}  // namespace ravant
