#include "integrations/linear/linear_service.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <iterator>

#include "integrations/linear/linear_integration_rows.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.integrations.linear", "LinearService");
/// 10,000 issues: nobody has so many, but a server may never end.
constexpr int kMostPages = 200;

void append(LinearIssuePayloads& all, LinearIssuePayloads page) {
  std::ranges::move(page.issues, std::back_inserter(all.issues));
  std::ranges::move(page.unreadable, std::back_inserter(all.unreadable));
}

void logUnreadable(const LinearIssuePayloads& page) {
  for (const auto& [id, reason] : page.unreadable) kLog.warning("the issue {} cannot be read: {}", id, reason);
}

}  // namespace

/// One that is running, or whose end not all who wait for it have seen.
struct LinearService::Refresh {
  bool isOver = false;
  std::exception_ptr error;
  LinearIssuesRefresh result;
};

std::shared_ptr<LinearService> LinearService::make(std::shared_ptr<ModelContainer> container,
                                                   LinearConnection connection) {
  return std::make_shared<LinearService>(std::move(container), std::move(connection));
}

LinearService::LinearService(std::shared_ptr<ModelContainer> container, LinearConnection connection)
    : Actor(connection.io),
      connection_(std::move(connection)),
      integrations_(LinearIntegrationStore::make(container)),
      teams_(LinearTeamModelActor::make(container)),
      issues_(LinearIssueModelActor::make(container)),
      keys_(std::make_shared<LinearKeys>(connection_.work, connection_.keyStore)),
      session_(std::make_shared<HttpSession>(connection_.http, connection_.session)),
      changed_(strand()) {}

LinearService::~LinearService() = default;

awaitable<LinearIntegration> LinearService::add(std::string apiKey) {
  return onActor([this, apiKey = std::move(apiKey)]() -> awaitable<LinearIntegration> {
    const std::string key = checkedLinearAPIKey(apiKey);
    const LinearIdentity identity =
        co_await LinearClient::validateCredentials(key, session_, connection_.baseAddress());
    const std::string workspace = identity.organization.urlKey;
    const std::string userEmail = identity.viewer.email;
    const auto turn = co_await turns_.take(Account(workspace, userEmail));
    const auto known = co_await integrations_->integration(workspace, userEmail);
    co_await keys_->setLinearAPIKey(key, workspace, userEmail);
    std::exception_ptr error;
    try {
      co_return co_await integrations_->create(identity);
    } catch (const StoreError&) {
      error = std::current_exception();
    }
    if (!known) co_await keys_->removeLinearAPIKey(workspace, userEmail);
    std::rethrow_exception(error);
  });
}

awaitable<bool> LinearService::remove(LinearIntegrationId id) {
  return onActor([this, id]() -> awaitable<bool> {
    const auto integration = co_await integrations_->integration(id);
    if (!integration || !co_await integrations_->remove(id)) co_return false;
    const auto& [workspace, userEmail] = std::pair(integration->workspaceUrlKey, integration->userEmail);
    if (auto found = clients_.extract(Account(workspace, userEmail))) co_await found.mapped()->invalidate();
    const auto turn = co_await turns_.take(Account(workspace, userEmail));
    const bool isBack = (co_await integrations_->integration(workspace, userEmail)).has_value();
    if (isBack) co_return true;
    try {
      co_await keys_->removeLinearAPIKey(workspace, userEmail);
    } catch (const KeyStoreError& error) {
      throw LeftSecretError("The workspace is removed, but its API key couldn't be deleted from the keychain",
                            LinearKeys::entry(workspace, userEmail), error);
    }
    co_return true;
  });
}

awaitable<void> LinearService::syncTeams(std::string workspace, std::string userEmail, LinearIntegrationId id) {
  return onActor([this, workspace = std::move(workspace), userEmail = std::move(userEmail), id]() -> awaitable<void> {
    co_await runOnce({Subject::teams, id},
                     [this, workspace, userEmail, id] { return refreshTeams(workspace, userEmail, id); });
  });
}

awaitable<LinearPageInfo> LinearService::syncAssignedIssues(std::string workspace, std::string userEmail,
                                                            std::optional<std::string> after, LinearIntegrationId id) {
  return onActor([this, workspace = std::move(workspace), userEmail = std::move(userEmail), after = std::move(after),
                  id]() -> awaitable<LinearPageInfo> {
    const auto turn = co_await turns_.take(Account(workspace, userEmail));
    co_await expectKnown(id);
    LinearIssuesPage page = co_await whileKnown(id, client(workspace, userEmail)->assignedIssues(after));
    logUnreadable(page.issues);
    using enum LinearIssueModelActor::Existing;
    co_await issues_->store(std::move(page.issues), id, after ? kept : replaced);
    co_return std::move(page.pageInfo);
  });
}

awaitable<LinearIssuesRefresh> LinearService::syncIssues(LinearIntegration integration) {
  return onActor([this, integration = std::move(integration)]() -> awaitable<LinearIssuesRefresh> {
    co_return co_await runOnce({Subject::issues, integration.id},
                               [this, integration] { return refreshIssues(integration); });
  });
}

awaitable<LinearIssuesRefresh> LinearService::refreshTeams(std::string workspace, std::string userEmail,
                                                           LinearIntegrationId id) {
  const auto turn = co_await turns_.take(Account(workspace, userEmail));
  co_await expectKnown(id);
  auto teams = co_await whileKnown(id, client(workspace, userEmail)->teams());
  co_await teams_->sync(std::move(teams), id);
  co_return LinearIssuesRefresh{};
}

awaitable<LinearIssuesRefresh> LinearService::refreshIssues(LinearIntegration integration) {
  const auto turn = co_await turns_.take(Account(integration.workspaceUrlKey, integration.userEmail));
  co_await expectKnown(integration.id);
  const auto client = this->client(integration.workspaceUrlKey, integration.userEmail);
  LinearIssuePayloads all;
  std::set<std::string> cursors;
  for (std::optional<std::string> after;;) {
    auto [issues, pageInfo] = co_await whileKnown(integration.id, client->assignedIssues(after));
    logUnreadable(issues);
    append(all, std::move(issues));
    if (!pageInfo.hasNextPage) break;
    after = std::move(pageInfo.endCursor);
    const bool isFurther = after && cursors.insert(*after).second && cursors.size() < kMostPages;
    if (!isFurther) throw LinearClientError::decoding("the pages of issues do not end");
  }
  const LinearIssuesRefresh result{.issues = all.issues.size(), .unreadable = all.unreadable.size()};
  co_await issues_->store(std::move(all), integration.id, LinearIssueModelActor::Existing::replaced);
  co_return result;
}

awaitable<LinearIssuesRefresh> LinearService::runOnce(RefreshKey key, Refreshing refreshing) {
  std::shared_ptr<Refresh> refresh;
  if (const auto running = refreshes_.find(key); running != refreshes_.end()) {
    refresh = running->second;
  } else {
    refresh = refreshes_[key] = std::make_shared<Refresh>();
    asio::co_spawn(
        strand(), std::move(refreshing),
        [this, self = shared_from_this(), key, refresh](std::exception_ptr error, LinearIssuesRefresh result) {
          *refresh = {.isOver = true, .error = std::move(error), .result = result};
          refreshes_.erase(key);
          changed_.notify();
        });
  }
  while (!refresh->isOver) co_await changed_.wait();
  if (refresh->error) std::rethrow_exception(refresh->error);
  co_return refresh->result;
}

std::shared_ptr<LinearClient> LinearService::client(const std::string& workspace, const std::string& userEmail) {
  if (session_->isInvalid()) throw LinearClientError::transport("cancelled");
  const Account account(workspace, userEmail);
  if (const auto known = clients_.find(account); known != clients_.end()) return known->second;
  const auto client = LinearClient::make(workspace, userEmail, connection_, keys_);
  clients_.emplace(account, client);
  return client;
}

awaitable<void> LinearService::expectKnown(LinearIntegrationId id) {
  if (!co_await integrations_->integration(id)) throw unknownIntegration(id);
}

/// What fails because the workspace was removed meanwhile, here or by another process, says so.
template <class Result>
awaitable<Result> LinearService::whileKnown(LinearIntegrationId id, awaitable<Result> request) {
  std::exception_ptr error;
  try {
    co_return co_await std::move(request);
  } catch (const LinearClientError&) {
    error = std::current_exception();
  }
  co_await expectKnown(id);
  std::rethrow_exception(error);
}

awaitable<void> LinearService::shutdown() {
  return onActor([this]() -> awaitable<void> {
    session_->invalidate();
    const auto clients = clients_;
    for (const auto& [account, client] : clients) co_await client->invalidate();
    while (turns_.isAnyTaken() || !refreshes_.empty()) co_await changed_.wait();
  });
}

}  // namespace ravant
