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
constexpr int kTooManyRequests = 429;
constexpr int kFirstServerError = 500;
constexpr int kLastServerError = 599;
constexpr std::size_t kErrorBodyLimit = 64 * 1024;  // bytes
/// For the last bytes of a response, without which its connection cannot be used again.
constexpr std::chrono::milliseconds kPatienceBehindTheEnd{200};

bool mayBeTriedAgain(int status) {
  return status == kTooManyRequests || (status >= kFirstServerError && status <= kLastServerError);
}

}  // namespace

ChatCompletionsClient::ChatCompletionsClient(RavantProvider provider, std::string apiKey,
                                             ChatCompletionsOptions options)
    : provider_(provider),
      apiKey_(std::move(apiKey)),
      options_(std::move(options)),
      session_(options_.http, options_.session) {}

awaitable<ChatTurn> ChatCompletionsClient::streamTurn(chat::Request request, OnText onText) {
  try {
    co_return co_await followTurn(std::move(request), std::move(onText));
  } catch (const HttpError& error) {
    const bool isNoResponse = error.kind() == HttpError::Case::noResponse;
    throw ChatCompletionsError::transport(displayName(provider_), isNoResponse ? "No HTTP response" : error.what());
  } catch (const ChatCompletionsError& error) {
    throw error.without(apiKey_);
  }
}

awaitable<ChatTurn> ChatCompletionsClient::followTurn(chat::Request request, OnText onText) {
  const std::string body = chat::requestBody(request);
  for (int retry = 0;; ++retry) {
    HttpResponse response = co_await session_.send(httpRequest(body));
    if (response.status() == kOk) co_return co_await readTurn(std::move(response), std::move(onText));
    const int status = response.status();
    const auto wait = waitBeforeRetry(retry, response);
    const std::string words = co_await refusalIn(std::move(response));
    if (!wait) throw ChatCompletionsError::http(displayName(provider_), status, words);
    kLog.warning("{} refused a request with status {}; it is sent again in {} ms", displayName(provider_), status,
                 wait->count());
    co_await pause(*wait);
  }
}

awaitable<ChatTurn> ChatCompletionsClient::readTurn(HttpResponse response, OnText onText) {
  ChatTurnAssembly assembly(std::string(displayName(provider_)), std::move(onText));
  do {
    while (const auto line = response.tryNext()) {
      if (assembly.onLine(*line) != ChatTurnAssembly::Progress::over) continue;
      co_await response.finish(kPatienceBehindTheEnd);
      co_return assembly.finish();
    }
  } while (co_await response.fill());
  co_return assembly.finish();
}

awaitable<std::string> ChatCompletionsClient::refusalIn(HttpResponse response) {
  try {
    co_return co_await response.text(kErrorBodyLimit);
  } catch (const HttpError& error) {
    if (error.kind() == HttpError::Case::cancelled) throw;
    co_return std::string();  // the status alone says what matters
  }
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

std::optional<std::chrono::milliseconds> ChatCompletionsClient::waitBeforeRetry(int retry,
                                                                                const HttpResponse& refusal) const {
  if (retry >= options_.retry.retries || !mayBeTriedAgain(refusal.status())) return std::nullopt;
  std::chrono::milliseconds wait = options_.retry.firstWait * (1 << retry);
  if (const auto asked = refusal.retryAfter()) {
    if (*asked > options_.retry.longestWait) return std::nullopt;
    wait = std::max(wait, std::chrono::milliseconds(*asked));
  }
  return std::min(wait, options_.retry.longestWait);
}

awaitable<void> ChatCompletionsClient::pause(std::chrono::milliseconds wait) {
  if (session_.isInvalid()) co_return;
  const auto timer = std::make_shared<asio::steady_timer>(co_await asio::this_coro::executor, wait);
  pause_ = timer;
  co_await timer->async_wait(asio::as_tuple(use_awaitable));
  pause_.reset();
}

}  // namespace ravant
