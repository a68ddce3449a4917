#include "integrations/github/github_exchange.hpp"

#include <fmt/format.h>

#include <exception>
#include <utility>

#include "integrations/github/github_link.hpp"
#include "platform/keystore/secret.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

using namespace std::chrono_literals;

constexpr Log kLog("com.ravant.integrations", "GithubClient");
constexpr int kMostRedirections = 5;
constexpr std::size_t kMebibyte = 1024 * 1024;
constexpr std::size_t kBodyLimit = 64 * kMebibyte;
constexpr std::size_t kRefusalLimit = 64 * 1024;  // bytes
constexpr auto kPatienceWithRefusal = 5s;
/// For the last bytes of a response, without which its connection cannot be used again.
constexpr auto kPatienceBehindTheEnd = 200ms;

bool isSuccess(int status) { return status >= 200 && status < 300; }

/// Where the response sends its request, which stays the same there.
std::optional<std::string> redirectionOf(const HttpRequest& request, const HttpResponse& response) {
  const int status = response.status();
  const bool keepsMethod = status == 307 || status == 308;
  const bool isFollowed = keepsMethod || (request.method == "GET" && (status == 301 || status == 302));
  const auto location = response.header("Location");
  return isFollowed && location ? std::optional<std::string>(*location) : std::nullopt;
}

}  // namespace

GithubExchange::GithubExchange(std::shared_ptr<HttpEngine> http, HttpSessionOptions options,
                               std::shared_ptr<const Clock> clock, std::shared_ptr<GithubPauses> pauses)
    : options_(options), clock_(std::move(clock)), pauses_(std::move(pauses)), session_(std::move(http), options) {}

// The session itself sends User-Agent.
awaitable<GithubAnswer> GithubExchange::get(std::string url, std::string token) {
  HttpRequest request{.method = "GET",
                      .url = std::move(url),
                      .headers = {{"Authorization", "Bearer " + token},
                                  {"Accept", "application/vnd.github+json"},
                                  {"X-GitHub-Api-Version", "2022-11-28"}}};
  co_return co_await ask(std::move(request), std::string(kGithubRestLimit), std::move(token));
}

awaitable<GithubAnswer> GithubExchange::post(std::string url, std::string body, std::string token) {
  HttpRequest request{.method = "POST",
                      .url = std::move(url),
                      .headers = {{"Authorization", "Bearer " + token},
                                  {"Accept", "application/vnd.github+json"},
                                  {"X-GitHub-Api-Version", "2022-11-28"},
                                  {"Content-Type", "application/json"}},
                      .body = std::move(body)};
  co_return co_await ask(std::move(request), std::string(kGithubGraphQLLimit), std::move(token));
}

awaitable<GithubAnswer> GithubExchange::ask(HttpRequest request, std::string limit, std::string token) {
  try {
    co_return co_await follow(std::move(request), std::move(limit), token);
  } catch (const HttpError& error) {
    throw GithubClientError::transport(withoutSecret(error.what(), token, kTokenMark));
  }
}

awaitable<GithubAnswer> GithubExchange::follow(HttpRequest request, std::string limit, std::string token) {
  co_await expectNoPause(limit);
  for (int redirections = 0; redirections <= kMostRedirections; ++redirections) {
    HttpResponse response = co_await session_.send(request);
    GithubLimits limits = limitsOf(response, limit);
    cost_.add(limits);
    if (const auto location = redirectionOf(request, response)) {
      request.url = urlOnSameHost(request.url, *location, token);
      co_await response.finish(kPatienceBehindTheEnd);
      continue;
    }
    if (!isSuccess(response.status())) {
      GithubRefusal refusal{.status = response.status()};
      refusal.words = withoutSecret(co_await wordsOf(std::move(response)), token, kTokenMark);
      co_await expectNoPauseAsked(refusal, std::move(limits));
      throw GithubClientError::http(refusal.status, std::move(refusal.words));
    }
    auto nextPage = nextPageURL(response.header("Link").value_or(std::string_view()));
    const int status = response.status();
    std::string body = co_await wholeBody(std::move(response));
    co_return GithubAnswer{.status = status,
                           .url = std::move(request.url),
                           .body = std::move(body),
                           .nextPage = std::move(nextPage),
                           .limits = std::move(limits)};
  }
  throw GithubClientError::transport(fmt::format("Github redirected more than {} times.", kMostRedirections));
}

awaitable<void> GithubExchange::expectNoPause(std::string limit) {
  if (!pauses_) co_return;
  const auto until = co_await pauses_->pausedUntil(std::move(limit));
  const Timestamp now = clock_->now();
  // A clock that was set wrong then may have kept one that has no end in sight.
  const bool isPaused = until && *until > now && *until <= now + kLongestGithubPause;
  if (isPaused) throw GithubClientError::rateLimited(*until, now);
}

awaitable<void> GithubExchange::expectNoPauseAsked(GithubRefusal refusal, GithubLimits limits) {
  const auto asked = pauseAskedFor(refusal, limits, clock_->now());
  if (!asked) co_return;
  kLog.info("nothing is asked before {}: {}", iso8601(asked->until), fmt::join(asked->resources, ", "));
  co_await keep(*asked);
  throw GithubClientError::rateLimited(asked->until, clock_->now());
}

/// As far as it can be kept: the wait that is asked for is told all the same.
awaitable<void> GithubExchange::keep(GithubPause pause) {
  if (!pauses_) co_return;
  try {
    for (const std::string& resource : pause.resources) co_await pauses_->pause(resource, pause.until);
  } catch (const std::exception& error) {
    kLog.warning("the pause cannot be kept: {}", error.what());
  }
}

awaitable<std::string> GithubExchange::wholeBody(HttpResponse response) {
  HttpText body = co_await response.text(kBodyLimit, options_.stallLimit);
  if (body.isWhole) co_return std::move(body.text);
  throw GithubClientError::transport(body.text.size() == kBodyLimit
                                         ? fmt::format("The response has more than {} MB.", kBodyLimit / kMebibyte)
                                         : fmt::format("The response did not end within {} s.",
                                                       std::chrono::duration<double>(options_.stallLimit).count()));
}

/// What is there of them: the status alone says what matters.
awaitable<std::string> GithubExchange::wordsOf(HttpResponse response) {
  try {
    co_return (co_await response.text(kRefusalLimit, kPatienceWithRefusal)).text;
  } catch (const HttpError& error) {
    if (error.kind() == HttpError::Case::cancelled) throw;
    co_return std::string();
  }
}

}  // namespace ravant
