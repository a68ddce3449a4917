#include "integrations/github/github_service.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <stdexcept>

#include "integrations/github/github_stored_pauses.hpp"
#include "integrations/github/github_wire.hpp"
#include "platform/log/log.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.integrations", "GithubService");
constexpr std::chrono::minutes kStoredLifetime{5};

std::pair<std::string, std::string> ownerAndName(std::string_view fullName) {
  const std::size_t slash = fullName.find('/');
  const bool isName = slash != std::string_view::npos && slash > 0 && slash + 1 < fullName.size() &&
                      fullName.find('/', slash + 1) == std::string_view::npos;
  if (!isName) throw GithubClientError::invalidURL();
  return {std::string(fullName.substr(0, slash)), std::string(fullName.substr(slash + 1))};
}

std::runtime_error unknownIntegration(std::string_view id) {
  return std::runtime_error(fmt::format("unknown integration {}", id));
}

}  // namespace

/// A sync that runs, or how it ended for those who waited for it.
struct GithubService::Sync {
  bool isOver = false;
  std::exception_ptr error;
  GithubSyncRecord record = {};
};

std::shared_ptr<GithubService> GithubService::make(std::shared_ptr<ModelContainer> container,
                                                   GithubConnection connection) {
  return std::make_shared<GithubService>(std::move(container), std::move(connection));
}

GithubService::GithubService(std::shared_ptr<ModelContainer> container, GithubConnection connection)
    : Actor(connection.io),
      container_(std::move(container)),
      connection_(std::move(connection)),
      integrations_(GithubIntegrationStore::make(container_)),
      pulls_(GithubPullRequestModelActor::make(container_)),
      repositories_(GithubRepositoryModelActor::make(container_)),
      details_(GithubPullDetailCacheModelActor::make(container_)),
      changed_(strand()) {}

GithubService::~GithubService() = default;

template <class Result>
awaitable<Result> GithubService::ofPresent(GithubIntegrationId integration, awaitable<Result> operation) {
  std::exception_ptr error;
  try {
    co_return co_await std::move(operation);
  } catch (...) {
    error = std::current_exception();
  }
  const auto all = co_await integrations_->integrations();
  if (std::ranges::find(all, integration, &GithubIntegration::id) == all.end())
    throw unknownIntegration(integration.text());
  std::rethrow_exception(error);
}

awaitable<GithubIntegration> GithubService::add(std::string host, std::string username, std::string token) {
  return onActor([this, host = std::move(host), username = std::move(username), token = std::move(token)] {
    return create(host, username, token);
  });
}

awaitable<GithubIntegration> GithubService::addDiscovered(GithubAccount account) {
  return onActor([this, account = std::move(account)]() {
    if (!account.inlineToken) {
      throw GithubTokenError(
          fmt::format("gh didn't return a token for {}@{}. Run `gh auth login`.", account.username, account.host));
    }
    return create(account.host, account.username, *account.inlineToken);
  });
}

awaitable<GithubIntegration> GithubService::create(std::string host, std::string username, std::string token) {
  const std::string checkedHost = checkedGithubHost(host);
  const std::string name(trimmed(username));
  const auto known = co_await integrations_->integration(checkedHost, name);
  const auto pauses = known ? std::make_shared<StoredPauses>(integrations_, known->id) : nullptr;
  const auto asked = opened(GithubClient::make(checkedHost, name, connection_, pauses));
  const std::string login = (co_await asked->validateToken(token)).login;
  const bool isNew = !co_await integrations_->integration(checkedHost, login);
  co_await connection_.tokens->setGithubToken(token, checkedHost, login);
  std::exception_ptr error;
  try {
    co_return co_await integrations_->create(checkedHost, login);
  } catch (...) {
    error = std::current_exception();
  }
  if (isNew) co_await connection_.tokens->removeGithubToken(checkedHost, login);
  std::rethrow_exception(error);
}

awaitable<bool> GithubService::remove(GithubIntegrationId integration) {
  return onActor([this, integration]() -> awaitable<bool> {
    const auto all = co_await integrations_->integrations();
    const auto found = std::ranges::find(all, integration, &GithubIntegration::id);
    if (!co_await integrations_->remove(integration) || found == all.end()) co_return false;
    clients_.erase(integration);
    std::erase_if(pages_, [&](const auto& page) { return page.first.first == integration; });
    try {
      co_await connection_.tokens->removeGithubToken(found->host, found->username);
    } catch (const KeyStoreError& error) {
      throw LeftSecretError("The account is forgotten, but its token is still in the keychain",
                            GithubTokens::entry(found->host, found->username), error);
    }
    co_return true;
  });
}

awaitable<PageInfo> GithubService::syncPullRequests(std::string host, std::string username, GithubContentFilter filter,
                                                    std::optional<std::string> after, GithubIntegrationId integration) {
  return onActor([this, host = std::move(host), username = std::move(username), filter = std::move(filter),
                  after = std::move(after), integration]() -> awaitable<PageInfo> {
    const auto turn = co_await syncTurns_.take(integration);
    const Search search(integration, filter.searchQuery());
    const auto known = pages_.find(search);
    auto sync = after && known != pages_.end() ? known->second : nullptr;
    if (!sync) sync = co_await begin(host, username, filter, integration);
    const PageInfo info = co_await ofPresent(integration, sync->page(after));
    pages_.erase(search);
    if (info.hasNextPage) pages_.emplace(search, std::move(sync));
    co_return info;
  });
}

awaitable<std::size_t> GithubService::refreshStalePullRequests(std::string host, std::string username,
                                                               GithubContentFilter filter,
                                                               GithubIntegrationId integration, Timestamp syncedBefore,
                                                               std::size_t limit) {
  return onActor([this, host = std::move(host), username = std::move(username), filter = std::move(filter), integration,
                  syncedBefore, limit]() -> awaitable<std::size_t> {
    const auto turn = co_await syncTurns_.take(integration);
    auto references = co_await pulls_->staleReferences(filter, integration, syncedBefore,
                                                       std::min(limit, GithubClient::kMostReferences));
    const std::size_t count = references.size();
    const auto sync = co_await begin(host, username, filter, integration);
    co_await ofPresent(integration, sync->refresh(std::move(references)));
    co_return count;
  });
}

awaitable<std::shared_ptr<GithubSearchSync>> GithubService::begin(std::string host, std::string username,
                                                                  GithubContentFilter filter,
                                                                  GithubIntegrationId integration) {
  const Timestamp syncedAt = co_await pulls_->nextSyncTime(integration);
  const auto asked = client(host, username, integration);
  co_return std::make_shared<GithubSearchSync>(asked, pulls_, std::move(filter), integration, syncedAt);
}

awaitable<GithubSyncRecord> GithubService::sync(GithubIntegration integration, GithubContentFilter filter) {
  return onActor(
      [this, integration = std::move(integration), filter = std::move(filter)]() -> awaitable<GithubSyncRecord> {
        const Search search(integration.id, filter.searchQuery());
        const auto [place, isFirst] = syncs_.try_emplace(search, nullptr);
        if (isFirst) place->second = std::make_shared<Sync>();
        const std::shared_ptr<Sync> sync = place->second;
        if (isFirst) {
          try {
            sync->record = co_await ofPresent(integration.id, runSync(integration, filter));
          } catch (...) {
            sync->error = std::current_exception();
          }
          sync->isOver = true;
          syncs_.erase(search);
          changed_.notify();
        }
        while (!sync->isOver) co_await changed_.wait();
        if (sync->error) std::rethrow_exception(sync->error);
        co_return sync->record;
      });
}

awaitable<GithubSyncRecord> GithubService::runSync(GithubIntegration integration, GithubContentFilter filter) {
  const GithubIntegrationId id = integration.id;
  const auto turn = co_await syncTurns_.take(id);
  const auto sync = co_await begin(integration.host, integration.username, filter, id);
  const auto asked = client(integration.host, integration.username, id);
  const std::int64_t costBefore = co_await asked->cost();
  GithubSyncRecord record{};
  std::exception_ptr error;
  try {
    record = co_await sync->whole();
  } catch (...) {
    error = std::current_exception();
  }
  record.cost = co_await asked->cost() - costBefore;
  if (!error) {
    co_await integrations_->recordSync(id, filter.searchQuery(), record);
    co_return record;
  }
  try {
    if (record.cost > 0) co_await integrations_->addSyncCost(id, filter.searchQuery(), record.cost);
  } catch (const std::exception& unstored) {
    kLog.warning("{} points of a sync that failed are not stored: {}", record.cost, unstored.what());
  }
  std::rethrow_exception(error);
}

awaitable<std::optional<GithubPullRequest>> GithubService::pullRequest(GithubIntegration integration,
                                                                       GithubPullReference reference) {
  return onActor([this, integration = std::move(integration),
                  reference = std::move(reference)]() -> awaitable<std::optional<GithubPullRequest>> {
    const GithubIntegrationId id = integration.id;
    auto stored = co_await pulls_->pull(id, reference.repositoryName, reference.number);
    const Timestamp now = container_->clock().now();
    if (stored && stored->syncedAt <= now && now - stored->syncedAt <= kStoredLifetime) co_return stored;
    const auto asked = client(integration.host, integration.username, id);
    const Timestamp syncedAt = co_await pulls_->nextSyncTime(id);
    GithubReferencedPulls answered = co_await ofPresent(id, asked->pullRequests(std::vector{reference}));
    if (answered.pulls.empty() && answered.vanished.empty()) throw GithubClientError::graphQL(answered.messages);
    // It may be called otherwise by now.
    GithubPullReference found = reference;
    if (!answered.pulls.empty()) found = {answered.pulls.front().repositoryName, answered.pulls.front().number};
    co_await pulls_->store(std::vector{reference}, std::move(answered), id, syncedAt);
    co_return co_await pulls_->pull(id, found.repositoryName, found.number);
  });
}

awaitable<PageInfo> GithubService::syncRepositories(std::string host, std::string username, int page,
                                                    GithubIntegrationId integration) {
  return onActor(
      [this, host = std::move(host), username = std::move(username), page, integration]() -> awaitable<PageInfo> {
        const auto turn = co_await syncTurns_.take(integration);
        GithubRepositorySync sync(client(host, username, integration), repositories_, integration);
        if (co_await sync.page(page) == GithubListEnd::reached) co_return PageInfo();
        co_return PageInfo{.hasNextPage = true, .endCursor = std::to_string(page + 1)};
      });
}

awaitable<GithubListEnd> GithubService::syncAllRepositories(GithubIntegration integration) {
  return onActor([this, integration = std::move(integration)]() -> awaitable<GithubListEnd> {
    const GithubIntegrationId id = integration.id;
    const auto turn = co_await syncTurns_.take(id);
    GithubRepositorySync sync(client(integration.host, integration.username, id), repositories_, id);
    co_return co_await ofPresent(id, sync.whole());
  });
}

awaitable<std::vector<GithubRepository>> GithubService::repositories(GithubIntegrationId integration) {
  return repositories_->repositories(integration);
}

awaitable<GithubPullRequestDetail> GithubService::fetchPullRequestDetail(std::string host, std::string username,
                                                                         std::string repositoryName,
                                                                         std::int64_t number, std::string pullURL) {
  return onActor([this, host = std::move(host), username = std::move(username), name = std::move(repositoryName),
                  number, url = std::move(pullURL)]() -> awaitable<GithubPullRequestDetail> {
    const auto integration = co_await integrations_->integration(host, username);
    if (!integration) throw unknownIntegration(fmt::format("{}@{}", username, host));
    co_return co_await ofPresent(integration->id, fetchDetail(*integration, name, number, url));
  });
}

awaitable<GithubPullRequestDetail> GithubService::pullRequestDetail(GithubIntegration integration,
                                                                    std::string repositoryName, std::int64_t number,
                                                                    Freshness freshness) {
  return onActor([this, integration = std::move(integration), name = std::move(repositoryName), number,
                  freshness]() -> awaitable<GithubPullRequestDetail> {
    const auto [owner, repository] = ownerAndName(name);
    const std::string url = fmt::format("https://{}/{}/{}/pull/{}", integration.host, owner, repository, number);
    if (freshness == Freshness::cached) {
      const auto cached = co_await details_->detail(url, integration.id);
      const Timestamp now = container_->clock().now();
      if (cached && cached->fetchedAt <= now && now - cached->fetchedAt <= kStoredLifetime) {
        if (auto files = github::parsePullFiles(cached->filesData)) {
          co_return GithubPullRequestDetail{
              .bodyText = cached->bodyText, .files = *std::move(files), .fetchedAt = cached->fetchedAt};
        }
      }
    }
    co_return co_await ofPresent(integration.id, fetchDetail(integration, name, number, url));
  });
}

awaitable<GithubPullRequestDetail> GithubService::fetchDetail(GithubIntegration integration, std::string repositoryName,
                                                              std::int64_t number, std::string pullURL) {
  auto [owner, repository] = ownerAndName(repositoryName);
  const auto asked = client(integration.host, integration.username, integration.id);
  GithubPullDetail detail = co_await asked->pullRequestDetail(std::move(owner), std::move(repository), number);
  const Timestamp now = container_->clock().now();
  co_await details_->store(std::move(pullURL), detail.body, github::pullFilesText(detail.files), now, integration.id);
  co_return GithubPullRequestDetail{
      .bodyText = std::move(detail.body), .files = std::move(detail.files), .fetchedAt = now};
}

awaitable<void> GithubService::close() {
  return onActor([this]() -> awaitable<void> {
    isClosed_ = true;
    for (const auto& weak : std::vector(opened_)) {
      if (const auto asked = weak.lock()) co_await asked->close();
    }
  });
}

std::shared_ptr<GithubClient> GithubService::client(const std::string& host, const std::string& username,
                                                    GithubIntegrationId integration) {
  auto& known = clients_[integration];
  if (!known) {
    known = opened(
        GithubClient::make(host, username, connection_, std::make_shared<StoredPauses>(integrations_, integration)));
  }
  return known;
}

std::shared_ptr<GithubClient> GithubService::opened(std::shared_ptr<GithubClient> client) {
  if (isClosed_) throw GithubClientError::transport("Ravant is ending.");
  std::erase_if(opened_, [](const auto& weak) { return weak.expired(); });
  opened_.push_back(client);
  return client;
}

}  // namespace ravant
