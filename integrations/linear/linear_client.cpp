#include "integrations/linear/linear_client.hpp"

#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "integrations/linear/linear_wire.hpp"
#include "platform/http/base_address.hpp"
#include "platform/keystore/secret.hpp"

namespace ravant {
namespace {

constexpr int kOk = 200;
constexpr std::size_t kLargestAnswer = 64 * 1024 * 1024;       // bytes
constexpr std::size_t kLargestRefusal = 64 * 1024;             // bytes
constexpr std::chrono::milliseconds kPatience{300'000};        // with the body of an answer
constexpr std::chrono::milliseconds kRefusalsPatience{5'000};  // with a body that only explains a status

struct Exchange {
  std::string request;
  std::string apiKey;
};

std::string endpoint(const std::string& base) {
  try {
    return baseAddress(base) + "/graphql";
  } catch (const BaseAddressError&) {
    throw LinearClientError::invalidURL();
  }
}

constexpr std::string_view kKeyMark = "[key]";

LinearClientError described(const linear::Problem& problem, const std::string& body, const std::string& apiKey) {
  constexpr int kUnauthorized = 401;
  constexpr int kTooManyRequests = 429;
  switch (problem.kind) {
    case linear::Problem::Kind::unreadable:
      return LinearClientError::decoding(withoutSecret(problem.words.empty() ? body : problem.words, apiKey, kKeyMark));
    case linear::Problem::Kind::unauthenticated:
      return LinearClientError::http(kUnauthorized);
    case linear::Problem::Kind::rateLimited:
      return LinearClientError::http(kTooManyRequests);
    case linear::Problem::Kind::graphQL:
      return LinearClientError::graphQL(withoutSecret(problem.words, apiKey, kKeyMark));
  }
  __builtin_unreachable();
}

/// Linear says with status 400, and errors, that a key is wrong or that it was asked too often.
awaitable<LinearClientError> refusalIn(HttpResponse response) {
  constexpr int kBadRequest = 400;
  const int status = response.status();
  if (status != kBadRequest) co_return LinearClientError::http(status);
  std::string body;
  try {
    body = (co_await response.text(kLargestRefusal, kRefusalsPatience)).text;
  } catch (const HttpError& error) {
    if (error.kind() == HttpError::Case::cancelled) throw;
  }
  const auto problem = linear::problemIn(body);
  const bool saysMore = problem && (problem->kind == linear::Problem::Kind::unauthenticated ||
                                    problem->kind == linear::Problem::Kind::rateLimited);
  co_return saysMore ? described(*problem, {}, {}) : LinearClientError::http(status);
}

awaitable<std::string> post(std::shared_ptr<HttpSession> session, std::string url, Exchange exchange) {
  try {
    HttpResponse response =
        co_await session->send({.method = "POST",
                                .url = std::move(url),
                                .headers = {{"Authorization", exchange.apiKey}, {"Content-Type", "application/json"}},
                                .body = std::move(exchange.request)});
    if (response.status() != kOk) throw co_await refusalIn(std::move(response));
    HttpText body = co_await response.text(kLargestAnswer, kPatience);
    if (body.isWhole) co_return std::move(body.text);
    throw LinearClientError::transport(body.text.size() < kLargestAnswer
                                           ? "the answer did not come in time"
                                           : fmt::format("the answer is larger than {} MiB", kLargestAnswer >> 20));
  } catch (const HttpError& error) {
    throw LinearClientError::transport(error.what());
  }
}

template <class Data>
awaitable<Data> ask(std::shared_ptr<HttpSession> session, std::string base, Exchange exchange,
                    linear::Answer<Data> (*read)(std::string_view body)) {
  const std::string apiKey = exchange.apiKey;
  const std::string body = co_await post(std::move(session), endpoint(base), std::move(exchange));
  linear::Answer<Data> answer = read(body);
  if (!answer) throw described(answer.error(), body, apiKey);
  co_return *std::move(answer);
}

}  // namespace

std::shared_ptr<LinearClient> LinearClient::make(std::string workspace, std::string userEmail,
                                                 const LinearConnection& connection, std::shared_ptr<LinearKeys> keys) {
  return std::make_shared<LinearClient>(std::move(workspace), std::move(userEmail), connection, std::move(keys));
}

LinearClient::LinearClient(std::string workspace, std::string userEmail, const LinearConnection& connection,
                           std::shared_ptr<LinearKeys> keys)
    : Actor(connection.io),
      workspace_(std::move(workspace)),
      userEmail_(std::move(userEmail)),
      baseAddress_(connection.baseAddress()),
      keys_(std::move(keys)),
      session_(std::make_shared<HttpSession>(connection.http, connection.session)) {}

awaitable<LinearIdentity> LinearClient::validateCredentials(std::string apiKey, std::shared_ptr<HttpSession> session,
                                                            std::string baseAddress) {
  return ask(std::move(session), std::move(baseAddress), {linear::viewerRequest(), std::move(apiKey)},
             &linear::viewerIn);
}

awaitable<LinearIdentity> LinearClient::viewer() {
  return onActor([this]() -> awaitable<LinearIdentity> {
    co_return co_await validateCredentials(co_await storedKey(), session_, baseAddress_);
  });
}

awaitable<std::vector<LinearTeamPayload>> LinearClient::teams() {
  return onActor([this]() -> awaitable<std::vector<LinearTeamPayload>> {
    co_return co_await ask(session_, baseAddress_, {linear::teamsRequest(), co_await storedKey()}, &linear::teamsIn);
  });
}

awaitable<LinearIssuesPage> LinearClient::assignedIssues(std::optional<std::string> after) {
  return onActor([this, after = std::move(after)]() -> awaitable<LinearIssuesPage> {
    co_return co_await ask(session_, baseAddress_, {linear::assignedIssuesRequest(after), co_await storedKey()},
                           &linear::assignedIssuesIn);
  });
}

awaitable<void> LinearClient::invalidate() {
  return onActor([this]() -> awaitable<void> {
    stop_.request_stop();
    session_->invalidate();
    co_return;
  });
}

}  // namespace ravant
