#pragma once

#include <memory>
#include <optional>
#include <string>

#include "integrations/github/github_client_error.hpp"
#include "integrations/github/github_limits.hpp"
#include "integrations/github/github_pauses.hpp"
#include "platform/http/http_session.hpp"

namespace ravant {

/// A response of a status of success.
struct GithubAnswer {
  int status;
  std::string url;  ///< that answered
  std::string body;
  std::optional<std::string> nextPage;  ///< of a list, as the field Link refers to it
  GithubLimits limits;
};

/// Sends the requests of one client, with the fields that GitHub wants, keeps within the host's limits, and follows
/// redirections on the same host. On one executor. Operations throw `GithubClientError`, in whose words no token is.
class GithubExchange {
 public:
  /// `pauses` may be null.
  GithubExchange(std::shared_ptr<HttpEngine> http, HttpSessionOptions options, std::shared_ptr<const Clock> clock,
                 std::shared_ptr<GithubPauses> pauses);

  awaitable<GithubAnswer> get(std::string url, std::string token);
  awaitable<GithubAnswer> post(std::string url, std::string body, std::string token);
  /// Throws `rateLimited` where the refusal asks for a pause, which begins then.
  awaitable<void> expectNoPauseAsked(GithubRefusal refusal, GithubLimits limits);

  std::int64_t cost() const { return cost_.points(); }
  void invalidate() { session_.invalidate(); }

 private:
  awaitable<GithubAnswer> ask(HttpRequest request, std::string limit, std::string token);
  awaitable<GithubAnswer> follow(HttpRequest request, std::string limit, std::string token);
  awaitable<void> expectNoPause(std::string limit);
  awaitable<void> keep(GithubPause pause);
  awaitable<std::string> wholeBody(HttpResponse response);
  awaitable<std::string> wordsOf(HttpResponse response);

  const HttpSessionOptions options_;
  const std::shared_ptr<const Clock> clock_;
  const std::shared_ptr<GithubPauses> pauses_;
  HttpSession session_;
  GithubCostMeter cost_;
};

}  // namespace ravant
