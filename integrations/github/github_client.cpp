#include "integrations/github/github_client.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <stdexcept>
#include <utility>

#include "integrations/github/github_exchange.hpp"
#include "integrations/github/github_link.hpp"
#include "platform/keystore/secret.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr std::size_t kMostFilePages = 30;
constexpr std::size_t kMebibyte = 1024 * 1024;
constexpr std::size_t kMostOfFiles = 128 * kMebibyte;  // of all pages

std::string_view queryOf(GithubRepositorySort sort) {
  switch (sort) {
    case GithubRepositorySort::updated:
      return "&sort=updated&direction=desc";
    case GithubRepositorySort::pushed:
      return "&sort=pushed&direction=desc";
    case GithubRepositorySort::fullName:
      return "&sort=full_name&direction=asc";
  }
  __builtin_unreachable();
}

bool isSameLogin(std::string_view one, std::string_view other) { return lowerCase(one) == lowerCase(other); }

template <class Value>
Value decoded(std::optional<Value> value, std::string_view body, std::string_view token) {
  if (!value) throw GithubClientError::decoding(withoutSecret(body, token, kTokenMark));
  return *std::move(value);
}

}  // namespace

/// While it lives, no other operation of the client begins.
class GithubClient::Turn {
 public:
  explicit Turn(GithubClient& client) : client_(client) { client_.isBusy_ = true; }
  ~Turn() {
    client_.isBusy_ = false;
    client_.changed_.notify();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  GithubClient& client_;
};

std::shared_ptr<GithubClient> GithubClient::make(std::string host, std::string username, GithubConnection connection,
                                                 std::shared_ptr<GithubPauses> pauses) {
  return std::make_shared<GithubClient>(std::move(host), std::move(username), std::move(connection), std::move(pauses));
}

GithubClient::GithubClient(std::string host, std::string username, GithubConnection connection,
                           std::shared_ptr<GithubPauses> pauses)
    : Actor(connection.io),
      host_(checkedGithubHost(host)),
      username_(std::move(username)),
      connection_(std::move(connection)),
      exchange_(std::make_unique<GithubExchange>(connection_.http, connection_.session, connection_.clock,
                                                 std::move(pauses))),
      changed_(strand()) {}

GithubClient::~GithubClient() = default;

awaitable<GithubUser> GithubClient::validateCredentials(std::string host, std::string username, std::string token,
                                                        GithubConnection connection) {
  const auto client = make(std::move(host), std::move(username), std::move(connection), nullptr);
  co_return co_await client->validateToken(std::move(token));
}

awaitable<GithubUser> GithubClient::validateToken(std::string token) {
  return onActor([this, token = std::move(token)] {
    return inTurn([this, token]() -> awaitable<GithubUser> {
      const std::string checked = checkedGithubToken(token);
      GithubUser found = co_await user(checked);
      if (isSameLogin(found.login, username_)) co_return found;
      throw GithubClientError::usernameMismatch(username_, withoutSecret(found.login, checked, kTokenMark));
    });
  });
}

awaitable<GithubUser> GithubClient::currentUser() {
  return onActor([this] {
    return inTurn([this]() -> awaitable<GithubUser> { co_return co_await user(co_await storedToken()); });
  });
}

awaitable<std::vector<GithubRepositoryPayload>> GithubClient::repositories(GithubRepositorySort sort, int page) {
  std::string url =
      fmt::format("{}/user/repos?affiliation=owner,collaborator,organization_member{}&per_page=30&page={}",
                  connection_.endpoints.apiBase(host_), queryOf(sort), page);
  return onActor([this, url = std::move(url)] {
    return inTurn([this, url]() -> awaitable<std::vector<GithubRepositoryPayload>> {
      const std::string token = co_await storedToken();
      const GithubAnswer answer = co_await exchange_->get(url, token);
      co_return decoded(github::parseRepositories(answer.body), answer.body, token);
    });
  });
}

awaitable<GithubSearchPage> GithubClient::pullRequests(std::string query, std::optional<std::string> after) {
  return onActor([this, body = github::searchRequest(query, after)] {
    return inTurn([this, body]() -> awaitable<GithubSearchPage> {
      const std::string token = co_await storedToken();
      GithubAnswer answer = co_await exchange_->post(connection_.endpoints.graphqlBase(host_), body, token);
      auto read = github::parseSearch(answer.body);
      co_return co_await dataOf(std::move(answer), std::move(read), token);
    });
  });
}

awaitable<GithubReferencedPulls> GithubClient::pullRequests(std::vector<GithubPullReference> references) {
  if (references.size() > kMostReferences) throw std::invalid_argument("too many references for one request");
  return onActor([this, references = std::move(references)] {
    return inTurn([this, references]() -> awaitable<GithubReferencedPulls> {
      if (references.empty()) co_return GithubReferencedPulls{};
      const std::string token = co_await storedToken();
      GithubAnswer answer = co_await exchange_->post(connection_.endpoints.graphqlBase(host_),
                                                     github::referencesRequest(references), token);
      auto read = github::parseReferenced(answer.body, references);
      co_return co_await dataOf(std::move(answer), std::move(read), token);
    });
  });
}

awaitable<GithubPullDetail> GithubClient::pullRequestDetail(std::string owner, std::string repo, std::int64_t number) {
  return onActor([this, owner = std::move(owner), repo = std::move(repo), number] {
    return inTurn([this, owner, repo, number]() -> awaitable<GithubPullDetail> {
      const std::string url = fmt::format("{}/repos/{}/{}/pulls/{}", connection_.endpoints.apiBase(host_),
                                          pathSegment(owner), pathSegment(repo), number);
      const std::string token = co_await storedToken();
      const GithubAnswer answer = co_await exchange_->get(url, token);
      GithubPullDetail detail;
      detail.body = decoded(github::parsePullRequestBody(answer.body), answer.body, token).body;
      detail.files = co_await files(url + "/files?per_page=100", token);
      co_return detail;
    });
  });
}

awaitable<std::int64_t> GithubClient::cost() {
  return onActor([this]() -> awaitable<std::int64_t> { co_return exchange_->cost(); });
}

awaitable<void> GithubClient::close() {
  return onActor([this]() -> awaitable<void> {
    isClosed_ = true;
    stop_.request_stop();
    exchange_->invalidate();
    changed_.notify();
    while (isBusy_) co_await changed_.wait();
  });
}

/// Runs it when those before it are over.
template <class Operation>
auto GithubClient::inTurn(Operation operation) -> decltype(operation()) {
  while (isBusy_ && !isClosed_) co_await changed_.wait();
  if (isClosed_) throw GithubClientError::transport("cancelled");
  const Turn turn(*this);
  co_return co_await operation();
}

awaitable<std::string> GithubClient::storedToken() {
  return connection_.tokens->githubToken(host_, username_, stop_.get_token());
}

awaitable<GithubUser> GithubClient::user(std::string token) {
  const GithubAnswer answer = co_await exchange_->get(connection_.endpoints.apiBase(host_) + "/user", token);
  co_return decoded(github::parseUser(answer.body), answer.body, token);
}

/// Every page, to the end of the list or of what GitHub lists; a page that was there already ends it too.
awaitable<std::vector<GithubPullFilePayload>> GithubClient::files(std::string url, std::string token) {
  std::vector<GithubPullFilePayload> all;
  std::set<std::string> seen;
  std::size_t bytes = 0;
  for (std::optional<std::string> next = std::move(url); next && seen.size() < kMostFilePages;) {
    if (!seen.insert(*next).second) break;
    const GithubAnswer answer = co_await exchange_->get(*next, token);
    bytes += answer.body.size();
    if (bytes > kMostOfFiles) {
      throw GithubClientError::transport(fmt::format("The response has more than {} MB.", kMostOfFiles / kMebibyte));
    }
    auto page = decoded(github::parsePullFiles(answer.body), answer.body, token);
    std::ranges::move(page, std::back_inserter(all));
    next.reset();
    if (answer.nextPage) next = urlOnSameHost(answer.url, *answer.nextPage, token);
  }
  co_return all;
}

template <class Data>
awaitable<Data> GithubClient::dataOf(GithubAnswer answer, std::optional<github::GraphQLAnswer<Data>> read,
                                     std::string token) {
  auto known = decoded(std::move(read), answer.body, token);
  std::string words = withoutSecret(known.messages, token, kTokenMark);
  if (known.data && !known.isRateLimited) {
    known.data->messages = std::move(words);
    co_return *std::move(known.data);
  }
  GithubRefusal refusal{.status = answer.status, .words = std::move(words), .saysLimitIsSpent = known.isRateLimited};
  co_await exchange_->expectNoPauseAsked(refusal, std::move(answer.limits));
  throw GithubClientError::graphQL(refusal.words);
}

}  // namespace ravant
