#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "integrations/github/github_client_error.hpp"
#include "integrations/github/github_host.hpp"
#include "integrations/github/github_pauses.hpp"
#include "integrations/github/github_payloads.hpp"
#include "integrations/github/github_tokens.hpp"
#include "integrations/github/github_wire.hpp"
#include "platform/async/actor.hpp"
#include "platform/async/signal.hpp"
#include "platform/http/http_session.hpp"

namespace ravant {

/// What clients of all accounts share.
struct GithubConnection {
  any_io_executor io;
  std::shared_ptr<HttpEngine> http;
  HttpSessionOptions session = {};  ///< the body of a response, too, has to come within its `stallLimit`
  GithubEndpoints endpoints = {};
  std::shared_ptr<GithubTokens> tokens;
  std::shared_ptr<const Clock> clock;
};

enum class GithubRepositorySort { updated, pushed, fullName };

class GithubExchange;
struct GithubAnswer;

/// Speaks with GitHub for one account (docs.github.com/rest, version 2022-11-28, and docs.github.com/graphql). One
/// operation at a time. Every operation throws `GithubClientError`, and `KeyStoreError` or `GithubTokenError` where the
/// stored token cannot be read or used.
///
/// The token is sent to the account's own host only; a redirection or a link elsewhere is refused. A host that asks for
/// a pause is not asked before its end.
class GithubClient final : public Actor {
 public:
  /// `pauses` may be null. Throws `GithubClientError` `invalidURL`.
  static std::shared_ptr<GithubClient> make(std::string host, std::string username, GithubConnection connection,
                                            std::shared_ptr<GithubPauses> pauses);
  GithubClient(std::string host, std::string username, GithubConnection connection,
               std::shared_ptr<GithubPauses> pauses);
  ~GithubClient() override;

  /// Whose token it is. Throws `usernameMismatch` where it is another's than `username`'s (letters may differ in case),
  /// and `GithubTokenError` for what cannot be a token.
  static awaitable<GithubUser> validateCredentials(std::string host, std::string username, std::string token,
                                                   GithubConnection connection);
  /// The same with this client's host and username, so that `close` ends it.
  awaitable<GithubUser> validateToken(std::string token);

  awaitable<GithubUser> currentUser();
  /// Pages count from 1 and have at most 30.
  awaitable<std::vector<GithubRepositoryPayload>> repositories(GithubRepositorySort sort, int page);
  /// A page of at most 30.
  awaitable<GithubSearchPage> pullRequests(std::string query, std::optional<std::string> after);
  /// Nothing is sent for none. Throws `std::invalid_argument` for more than `kMostReferences`.
  awaitable<GithubReferencedPulls> pullRequests(std::vector<GithubPullReference> references);
  /// With at most 3000 files, of which GitHub lists no more. Throws `transport` for more than 128 MiB of them.
  awaitable<GithubPullDetail> pullRequestDetail(std::string owner, std::string repo, std::int64_t number);

  /// What the answered requests of this client have cost so far, in points of GitHub's limits: as far as the answers
  /// say so, else one each. What other programs of the same account use meanwhile counts in.
  awaitable<std::int64_t> cost();

  /// The operation that runs fails at once, as does every later one. Returns when none runs.
  awaitable<void> close();

  static constexpr std::size_t kMostReferences = 50;

 private:
  class Turn;

  template <class Operation>
  auto inTurn(Operation operation) -> decltype(operation());
  awaitable<std::string> storedToken();
  awaitable<GithubUser> user(std::string token);
  awaitable<std::vector<GithubPullFilePayload>> files(std::string url, std::string token);
  template <class Data>
  awaitable<Data> dataOf(GithubAnswer answer, std::optional<github::GraphQLAnswer<Data>> read, std::string token);

  const std::string host_;
  const std::string username_;
  const GithubConnection connection_;
  const std::unique_ptr<GithubExchange> exchange_;
  Signal changed_;
  std::stop_source stop_;
  bool isBusy_ = false;
  bool isClosed_ = false;
};

}  // namespace ravant
