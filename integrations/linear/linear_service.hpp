#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/integrations/linear_integration.hpp"
#include "core/store/model_container.hpp"
#include "integrations/linear/linear_client.hpp"
#include "integrations/linear/linear_integration_store.hpp"
#include "integrations/linear/linear_issue_model_actor.hpp"
#include "integrations/linear/linear_keys.hpp"
#include "integrations/linear/linear_team_model_actor.hpp"
#include "platform/async/actor.hpp"
#include "platform/async/signal.hpp"
#include "platform/async/turns.hpp"

namespace ravant {

/// What a refresh of the issues did.
struct LinearIssuesRefresh {
  std::size_t issues = 0;
  /// Issues that Linear has and that could not be read: what is stored of them stays as it was.
  std::size_t unreadable = 0;

  bool operator==(const LinearIssuesRefresh&) const = default;
};

/// Moves what Linear has into the store. What is asked of one workspace is asked one after another.
///
/// Every operation throws `LinearClientError`, `LinearKeyError`, `KeyStoreError` and `StoreError`, and
/// `std::runtime_error` "unknown integration " with the id.
class LinearService final : public Actor {
 public:
  static std::shared_ptr<LinearService> make(std::shared_ptr<ModelContainer> container, LinearConnection connection);
  LinearService(std::shared_ptr<ModelContainer> container, LinearConnection connection);
  ~LinearService() override;

  /// Checks the key, stores it, then the workspace; teams and issues are not synced. A workspace that is there already,
  /// of the same user, gets the new key.
  awaitable<LinearIntegration> add(std::string apiKey);
  /// Forgets the workspace, what is stored of it, and its key; a sync of it that is running fails. False where it is
  /// not there. Where the key store does not remove the key, the workspace is gone all the same, and `LeftSecretError`
  /// says so.
  awaitable<bool> remove(LinearIntegrationId integration);
  /// In the order in which they were added.
  awaitable<std::vector<LinearIntegration>> integrations() { return integrations_->integrations(); }

  /// All teams; those that Linear has no more are removed. One that is running already is waited for.
  awaitable<void> syncTeams(std::string workspace, std::string userEmail, LinearIntegrationId integration);
  /// One page of the issues. The first, without `after`, replaces the stored ones, so that until the others are asked
  /// for no more than 50 are there; the others add to them. The whole refresh, which never leaves less, is
  /// `syncIssues`.
  awaitable<LinearPageInfo> syncAssignedIssues(std::string workspace, std::string userEmail,
                                               std::optional<std::string> after, LinearIntegrationId integration);
  /// All pages of the issues; they replace the stored ones at once, when the last has come. One that is running already
  /// is waited for.
  awaitable<LinearIssuesRefresh> syncIssues(LinearIntegration integration);

  /// By name.
  awaitable<std::vector<LinearTeam>> teams(LinearIntegrationId integration) { return teams_->teams(integration); }
  /// Of one team, or of all.
  awaitable<std::vector<LinearIssue>> issues(LinearIntegrationId integration, std::optional<std::string> teamKey,
                                             LinearIssuesSortOrder order) {
    return issues_->issues(integration, std::move(teamKey), order);
  }
  /// By its identifier, whatever the case of its letters.
  awaitable<std::optional<LinearIssue>> issue(LinearIntegrationId integration, std::string identifier) {
    return issues_->issue(integration, std::move(identifier));
  }

  /// Ends the requests under way, which fail, as do all later ones, and returns when nothing is running.
  awaitable<void> shutdown();

 private:
  enum class Subject { teams, issues };
  using RefreshKey = std::pair<Subject, LinearIntegrationId>;
  using Refreshing = std::function<awaitable<LinearIssuesRefresh>()>;
  struct Refresh;

  awaitable<LinearIssuesRefresh> refreshTeams(std::string workspace, std::string userEmail, LinearIntegrationId id);
  awaitable<LinearIssuesRefresh> refreshIssues(LinearIntegration integration);
  awaitable<LinearIssuesRefresh> runOnce(RefreshKey key, Refreshing refreshing);

  std::shared_ptr<LinearClient> client(const std::string& workspace, const std::string& userEmail);
  awaitable<void> expectKnown(LinearIntegrationId id);
  template <class Result>
  awaitable<Result> whileKnown(LinearIntegrationId id, awaitable<Result> request);

  using Account = std::pair<std::string, std::string>;  ///< workspace and e-mail

  const LinearConnection connection_;
  const std::shared_ptr<LinearIntegrationStore> integrations_;
  const std::shared_ptr<LinearTeamModelActor> teams_;
  const std::shared_ptr<LinearIssueModelActor> issues_;
  const std::shared_ptr<LinearKeys> keys_;
  const std::shared_ptr<HttpSession> session_;  ///< for keys that are not stored yet
  std::map<Account, std::shared_ptr<LinearClient>> clients_;
  std::map<RefreshKey, std::shared_ptr<Refresh>> refreshes_;
  Signal changed_;
  Turns<Account> turns_{changed_};  ///< to ask something of a workspace, and to change what is kept of it
};

}  // namespace ravant
