#include "agent/chat_completions_client.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/this_coro.hpp>
#include <utility>

#include "agent/chat_turn_assembly.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.agent", "ChatCompletionsClient");
constexpr int kOk = 200;
constexpr std::size_t kErrorBodyLimit = 64 * 1024;  // bytes
/// For the last bytes of a response, without which its connection cannot be used again.
constexpr std::chrono::milliseconds kPatienceBehindTheEnd{200};

using Outlook = ChatCompletionsError::Outlook;

/// What the log says of an error: none of the provider's words.
std::string logged(const ChatCompletionsError& error) {
  switch (error.kind()) {
    case ChatCompletionsError::Case::http:
      return fmt::format("HTTP {}", error.status());
    case ChatCompletionsError::Case::stream:
      return fmt::format("an error in the stream, status {}", error.status());
    case ChatCompletionsError::Case::transport:
      return "a transport error";
  }
  __builtin_unreachable();
}

}  // namespace

ChatCompletionsClient::ChatCompletionsClient(RavantProvider provider, std::string apiKey,
                                             ChatCompletionsOptions options)
    : provider_(provider),
      apiKey_(std::move(apiKey)),
      options_(std::move(options)),
      session_(options_.http, options_.session) {}

awaitable<ChatTurn> ChatCompletionsClient::streamTurn(chat::Request request, ChatTurnEvents events) {
  const std::string body = chat::requestBody(request);
  for (int retry = 0;; ++retry) {
    events.onRequest();
    auto outcome = co_await tryTurn(body, events);
    if (auto* turn = std::get_if<ChatTurn>(&outcome)) co_return std::move(*turn);
    const Failure& failure = std::get<Failure>(outcome);
    const auto wait = waitBefore(retry, failure);
    const ChatCompletionsError error = failure.error.without(apiKey_);
    if (!wait) throw error;
    kLog.warning("{}: {}; the request is sent again in {} ms", displayName(provider_), logged(error), wait->count());
    events.onRetry({.reason = error.what(), .after = wait});
    co_await pause(*wait);
  }
}

awaitable<std::variant<ChatTurn, ChatCompletionsClient::Failure>> ChatCompletionsClient::tryTurn(
    std::string body, ChatTurnEvents events) {
  ChatTurnAssembly assembly(std::string(displayName(provider_)), events);
  std::optional<Failure> failure;
  try {
    HttpResponse response = co_await session_.send(httpRequest(std::move(body)));
    if (response.status() != kOk) co_return co_await refusalIn(std::move(response));
    co_return co_await readTurn(std::move(response), &assembly);
  } catch (const HttpError& error) {
    failure = Failure{described(error)};
  } catch (const ChatCompletionsError& error) {
    failure = Failure{error};
  } catch (...) {
    if (assembly.hasBegun()) events.onBreak(assembly.takeText());
    throw;
  }
  // What a reader has seen is not said twice.
  if (assembly.hasBegun()) {
    events.onBreak(assembly.takeText());
    throw failure->error.without(apiKey_);
  }
  co_return *std::move(failure);
}

awaitable<ChatTurn> ChatCompletionsClient::readTurn(HttpResponse response, ChatTurnAssembly* assembly) {
  do {
    while (const auto line = response.tryNext()) {
      if (assembly->onLine(*line) != ChatTurnAssembly::Progress::over) continue;
      co_await response.finish(kPatienceBehindTheEnd);
      co_return assembly->finish();
    }
  } while (co_await response.fill());
  co_return assembly->finish();
}

awaitable<ChatCompletionsClient::Failure> ChatCompletionsClient::refusalIn(HttpResponse response) {
  const int status = response.status();
  const auto retryAfter = response.retryAfter();
  std::string words;
  try {
    const HttpText text = co_await response.text(kErrorBodyLimit, options_.retry.patienceWithWords);
    words = excerpt(text.text, text.isWhole ? Extent::whole : Extent::beginning);
  } catch (const HttpError& error) {
    // Without a body, the status alone says what matters.
    if (error.kind() == HttpError::Case::cancelled) throw;
  }
  co_return Failure{ChatCompletionsError::http(displayName(provider_), status, words), retryAfter};
}

ChatCompletionsError ChatCompletionsClient::described(const HttpError& error) const {
  using enum HttpError::Case;
  const bool mayPass = error.kind() == noResponse || error.kind() == transfer;
  return ChatCompletionsError::transport(displayName(provider_),
                                         error.kind() == noResponse ? "No HTTP response" : error.what(),
                                         mayPass ? Outlook::passing : Outlook::lasting);
}

void ChatCompletionsClient::invalidate() {
  session_.invalidate();
  if (pause_) pause_->cancel();
}

HttpRequest ChatCompletionsClient::httpRequest(std::string body) const {
  return {.method = "POST",
          .url = options_.baseAddress + std::string(endpointPath(provider_)),
          .headers = {{"Authorization", "Bearer " + apiKey_},
                      {"Content-Type", "application/json"},
                      {"Accept", "text/event-stream"}},
          .body = std::move(body)};
}

std::optional<std::chrono::milliseconds> ChatCompletionsClient::waitBefore(int retry, const Failure& failure) const {
  const RetryPolicy& policy = options_.retry;
  if (retry >= policy.retries || failure.error.outlook() == Outlook::lasting) return std::nullopt;
  std::chrono::milliseconds wait = policy.firstWait * (1 << retry);
  if (failure.retryAfter) {
    if (*failure.retryAfter > policy.longestWait) return std::nullopt;
    wait = std::max(wait, std::chrono::milliseconds(*failure.retryAfter));
  }
  return std::min(wait, policy.longestWait);
}

awaitable<void> ChatCompletionsClient::pause(std::chrono::milliseconds wait) {
  if (session_.isInvalid()) co_return;
  const auto timer = std::make_shared<asio::steady_timer>(co_await asio::this_coro::executor, wait);
  pause_ = timer;
  co_await timer->async_wait(asio::as_tuple(use_awaitable));
  pause_.reset();
}

}  // namespace ravant
