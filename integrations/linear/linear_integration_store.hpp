#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/integrations/linear_integration.hpp"
#include "core/store/store_actor.hpp"
#include "integrations/linear/linear_payloads.hpp"

namespace ravant {

class LinearIntegrationOperations;

/// The workspaces. All operations throw `StoreError`.
class LinearIntegrationStore : public StoreActor<LinearIntegrationOperations> {
 public:
  static std::shared_ptr<LinearIntegrationStore> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit LinearIntegrationStore(std::shared_ptr<ModelContainer> modelContainer);
  ~LinearIntegrationStore() override;

  /// One that is there already, of the same user, gets the names.
  awaitable<LinearIntegration> create(LinearIdentity identity);
  /// Takes its teams, issues and pinned views out of the store too. False where it is not there.
  awaitable<bool> remove(LinearIntegrationId id);

  awaitable<std::optional<LinearIntegration>> integration(LinearIntegrationId id);
  awaitable<std::optional<LinearIntegration>> integration(std::string workspaceUrlKey, std::string userEmail);
  /// In the order in which they were added.
  awaitable<std::vector<LinearIntegration>> integrations();
};

}  // namespace ravant
