#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/async/signal.hpp"
#include "platform/http/http_error.hpp"
#include "platform/http/http_message.hpp"

namespace ravant {

/// What a transfer has got so far beyond the body.
struct HttpHead {
  int status = 0;
  std::vector<HttpHeader> headers;
};

/// One exchange between the engine's thread, which fills it, and the strand that reads it. What arrives is kept up to
/// a limit; then the engine waits for the reader.
class HttpTransfer {
 public:
  HttpTransfer(HttpRequest request, std::chrono::milliseconds connectLimit, any_io_executor reader)
      : request_(std::move(request)),
        connectLimit_(connectLimit),
        reader_(reader),
        arrived_(std::make_shared<Signal>(reader)) {}

  const HttpRequest& request() const { return request_; }
  std::chrono::milliseconds connectLimit() const { return connectLimit_; }

  // On the engine's thread.

  void onHead(HttpHead head);
  /// False where there is no room: the same bytes are to be given again after `HttpEngine::resume`.
  bool onBody(std::string_view bytes);
  void onProgress();

  // On any thread.

  /// The first end counts.
  void onEnd(std::optional<HttpError> error);

  // On the reader's strand.

  struct Taken {
    bool hasEnded;     ///< and nothing more was there
    bool hasMadeRoom;  ///< for an engine that waits
  };

  /// Nothing while it has not arrived. Throws the error that ended the transfer.
  std::optional<HttpHead> takeHead();
  /// Puts what has arrived of the body in `bytes`. Throws the error that ended the transfer, behind the last bytes.
  Taken takeBody(std::string& bytes);
  /// Returns once something has changed. Throws `stalled` after so long without a byte in either direction.
  awaitable<void> wait(std::chrono::milliseconds stallLimit);
  /// The reader is gone: its strand is not used any more, and may end before this does.
  void detach();

 private:
  using Clock = std::chrono::steady_clock;

  void wakeReader();
  void throwError() const;

  const HttpRequest request_;
  const std::chrono::milliseconds connectLimit_;
  mutable std::mutex mutex_;
  std::optional<any_io_executor> reader_;
  bool isWaking_ = false;
  std::optional<HttpHead> head_;
  bool hasHead_ = false;
  std::string body_;
  bool isPaused_ = false;
  bool hasEnded_ = false;
  std::optional<HttpError> error_;
  Clock::time_point lastProgress_ = Clock::now();
  std::shared_ptr<Signal> arrived_;
};

}  // namespace ravant
