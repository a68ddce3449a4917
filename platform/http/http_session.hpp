#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/async/async.hpp"
#include "platform/clock/clock.hpp"
#include "platform/http/http_engine.hpp"
#include "platform/http/http_error.hpp"
#include "platform/http/http_message.hpp"
#include "platform/http/http_transfer.hpp"
#include "platform/text/line_buffer.hpp"

namespace ravant {

/// What has been read of a body, and whether it is all there was.
struct HttpText {
  std::string text;
  bool isWhole = false;
};

/// A response whose head has arrived and whose body is read as it arrives; nothing is read ahead of a slow reader but a
/// few megabytes. On the executor that sent the request. Its destructor ends the transfer.
class HttpResponse {
 public:
  ~HttpResponse();
  HttpResponse(HttpResponse&& other) noexcept = default;
  HttpResponse& operator=(HttpResponse&&) = delete;

  int status() const { return head_.status; }
  /// The first of that name, whatever its case.
  std::optional<std::string_view> header(std::string_view name) const;
  /// When the server answered by its own clock, as the field Date says.
  std::optional<Timestamp> date() const;
  /// What the field Retry-After asks for, given as seconds or as a date (RFC 9110, 10.2.3), from when the server
  /// answered.
  std::optional<std::chrono::seconds> retryAfter() const;

  /// A line of the body that has arrived, without its line feed; valid until the next call of any member.
  std::optional<std::string_view> tryNext() { return lines_.tryNext(); }
  /// Waits for more of the body; false at its end. A last line without a line feed is a line too. Throws `HttpError`,
  /// also for a line of more than 256 MiB.
  awaitable<bool> fill();
  /// Takes the rest of the body in for nothing, for at most so long: the connection of a response that is whole is used
  /// again.
  awaitable<void> finish(std::chrono::milliseconds patience);
  /// The rest of the body, as far as `limit` bytes and as it comes within `patience`. Throws `HttpError`.
  awaitable<HttpText> text(std::size_t limit, std::chrono::milliseconds patience);

 private:
  friend class HttpSession;
  HttpResponse(std::shared_ptr<HttpEngine> engine, std::shared_ptr<HttpTransfer> transfer,
               std::chrono::milliseconds stallLimit)
      : engine_(std::move(engine)), transfer_(std::move(transfer)), stallLimit_(stallLimit) {}

  awaitable<void> awaitHead();
  awaitable<bool> takeMore(std::chrono::milliseconds limit);

  std::shared_ptr<HttpEngine> engine_;
  std::shared_ptr<HttpTransfer> transfer_;
  HttpHead head_;
  std::chrono::milliseconds stallLimit_;
  std::string arrived_;
  LineBuffer lines_;
};

struct HttpSessionOptions {
  std::chrono::milliseconds connectLimit{30'000};
  /// How long nothing may come, in either direction, while a response or more of it is waited for. There is no limit to
  /// the whole.
  std::chrono::milliseconds stallLimit{300'000};
};

/// The requests of one client, to be ended together. On one executor.
///
/// Redirections are not followed, and a loopback address is never asked through a proxy. Nothing is written to the log
/// but methods, addresses without their queries, statuses, and the words of the transport.
class HttpSession {
 public:
  explicit HttpSession(std::shared_ptr<HttpEngine> engine, HttpSessionOptions options = {});

  /// Returns when the head of the response has arrived. Throws `HttpError`.
  awaitable<HttpResponse> send(HttpRequest request);

  /// Every request fails at once as cancelled, now and from now on.
  void invalidate();
  bool isInvalid() const { return isInvalid_; }

 private:
  std::shared_ptr<HttpEngine> engine_;
  HttpSessionOptions options_;
  std::vector<std::weak_ptr<HttpTransfer>> transfers_;
  bool isInvalid_ = false;
};

}  // namespace ravant
