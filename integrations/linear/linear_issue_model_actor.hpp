#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/integrations/linear_integration.hpp"
#include "core/store/store_actor.hpp"
#include "integrations/linear/linear_payloads.hpp"

namespace ravant {

class LinearIssueOperations;

/// The issues of the workspaces. All operations throw `StoreError`, and `std::runtime_error` "unknown integration "
/// with the id.
class LinearIssueModelActor : public StoreActor<LinearIssueOperations> {
 public:
  static std::shared_ptr<LinearIssueModelActor> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit LinearIssueModelActor(std::shared_ptr<ModelContainer> modelContainer);
  ~LinearIssueModelActor() override;

  /// Stores the issues, all at once. Where the existing ones are replaced, those that are not among them are removed;
  /// one that is unreadable stays as it was.
  enum class Existing { kept, replaced };
  awaitable<void> store(LinearIssuePayloads issues, LinearIntegrationId integration, Existing existing);

  /// Of one team, or of all.
  awaitable<std::vector<LinearIssue>> issues(LinearIntegrationId integration, std::optional<std::string> teamKey,
                                             LinearIssuesSortOrder order);
  /// By its identifier, whatever the case of its letters.
  awaitable<std::optional<LinearIssue>> issue(LinearIntegrationId integration, std::string identifier);
};

}  // namespace ravant
