#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "agent/chat_completions_error.hpp"
#include "agent/chat_completions_wire.hpp"
#include "agent/chat_turn.hpp"
#include "agent/ravant_provider.hpp"
#include "platform/http/http_session.hpp"

namespace ravant {

class ChatTurnAssembly;

/// How a request is tried again whose failure may pass before anything of an answer has come: status 429 or 5xx, a
/// connection that is refused, breaks, or brings no answer.
struct RetryPolicy {
  int retries = 3;
  std::chrono::milliseconds firstWait{1'000};  ///< doubled before each further try
  /// A provider that asks for a longer wait is not asked again.
  std::chrono::milliseconds longestWait{120'000};
  /// How long the words of a refusal are waited for, whose status is known.
  std::chrono::milliseconds patienceWithWords{5'000};
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
  ChatCompletionsClient(RavantProvider provider, std::string apiKey, ChatCompletionsOptions options);

  /// Asks a model and follows its answer to the end, telling `events` what comes while it arrives. Throws
  /// `ChatCompletionsError`.
  awaitable<ChatTurn> streamTurn(chat::Request request, ChatTurnEvents events);

  /// Ends the turn under way, which fails at once, and every later one.
  void invalidate();

 private:
  /// A try that failed.
  struct Failure {
    ChatCompletionsError error;
    std::optional<std::chrono::seconds> retryAfter = {};  ///< as the provider asks for it
  };

  awaitable<std::variant<ChatTurn, Failure>> tryTurn(std::string body, ChatTurnEvents events);
  awaitable<ChatTurn> readTurn(HttpResponse response, ChatTurnAssembly* assembly);
  awaitable<Failure> refusalIn(HttpResponse response);
  HttpRequest httpRequest(std::string body) const;
  ChatCompletionsError described(const HttpError& error) const;
  std::optional<std::chrono::milliseconds> waitBefore(int retry, const Failure& failure) const;
  awaitable<void> pause(std::chrono::milliseconds wait);

  const RavantProvider provider_;
  const std::string apiKey_;
  const ChatCompletionsOptions options_;
  HttpSession session_;
  std::shared_ptr<asio::steady_timer> pause_;
};

}  // namespace ravant
