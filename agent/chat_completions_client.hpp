#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "agent/chat_completions_error.hpp"
#include "agent/chat_completions_wire.hpp"
#include "agent/chat_turn.hpp"
#include "agent/ravant_provider.hpp"
#include "platform/http/http_session.hpp"

namespace ravant {

/// How a request is tried again that was refused with status 429 or 5xx.
struct RetryPolicy {
  int retries = 3;
  std::chrono::milliseconds firstWait{1'000};  ///< doubled before each further try
  /// A provider that asks for a longer wait is not asked again.
  std::chrono::milliseconds longestWait{120'000};
};

struct ChatCompletionsOptions {
  std::shared_ptr<HttpEngine> http;
  std::string baseAddress;  ///< of the provider's service
  HttpSessionOptions session = {};
  RetryPolicy retry = {};
};

/// Talks to one provider with one key: the built-in agent's only way to the network. On one executor; it outlives its
/// turns.
class ChatCompletionsClient {
 public:
  using OnText = std::function<void(std::string_view fragment)>;

  ChatCompletionsClient(RavantProvider provider, std::string apiKey, ChatCompletionsOptions options);

  /// Sends one request and follows the response to its end. `onText` is given the fragments of the text, in order,
  /// while they arrive. Throws `ChatCompletionsError`.
  awaitable<ChatTurn> streamTurn(chat::Request request, OnText onText);

  /// Ends the turn under way, which fails at once, and every later one.
  void invalidate();

 private:
  awaitable<ChatTurn> followTurn(chat::Request request, OnText onText);
  awaitable<ChatTurn> readTurn(HttpResponse response, OnText onText);
  awaitable<std::string> refusalIn(HttpResponse response);
  HttpRequest httpRequest(std::string body) const;
  std::optional<std::chrono::milliseconds> waitBeforeRetry(int retry, const HttpResponse& refusal) const;
  awaitable<void> pause(std::chrono::milliseconds wait);

  const RavantProvider provider_;
  const std::string apiKey_;
  const ChatCompletionsOptions options_;
  HttpSession session_;
  std::shared_ptr<asio::steady_timer> pause_;
};

}  // namespace ravant
