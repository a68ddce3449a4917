#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "platform/http/http_message.hpp"

namespace ravant::test {

/// Opened once, by any thread. Whoever waits for a minute fails: `wait` throws.
class Gate {
 public:
  void open();
  bool isOpen() const;
  /// Throws also where `stop` is requested.
  void wait(std::stop_token stop = {}) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable_any changed_;
  bool isOpen_ = false;
};

/// A server on a free port of 127.0.0.1 that answers each request as its handler does.
///
/// Every connection has a thread of its own, on which the handler runs for its requests in turn; the client may send
/// several one behind the other. A handler writes a whole response, or closes the connection. What it throws because
/// the connection or the server ends is nothing special; any other exception fails the test.
///
/// The destructor cuts all connections and waits for the handlers, whatever they wait for. What a handler refers to is
/// declared before the server.
class HttpServer {
 public:
  enum class Transport { plain, tls };

  struct Request {
    std::string method;
    std::string target;
    std::vector<HttpHeader> headers;
    std::string body;  ///< without the framing of chunks

    /// The first of that name, whatever its case.
    std::optional<std::string> header(std::string_view name) const;
  };

  class Connection {
   public:
    virtual ~Connection() = default;

    /// A whole response, with its Content-Length.
    void respond(int status, const std::vector<HttpHeader>& headers = {}, std::string_view body = {});
    /// The head of a response in chunks: from now on each `write` is one, and the last comes when the handler returns.
    void beginChunks(int status, const std::vector<HttpHeader>& headers = {});
    /// As `beginChunks`, for text/event-stream.
    void beginEventStream();
    /// Bytes as they are, unless chunks have begun. Waits while the client takes none.
    void write(std::string_view bytes);
    /// Writes as much of `bytes` as the client takes until it has taken none for so long, and returns how much that
    /// was. Without TLS only.
    std::size_t writeUntilFull(std::string_view bytes, std::chrono::milliseconds patience);

    /// Ends the connection behind what was written; with TLS, without saying so first.
    void close();
    /// Ends the connection at once, as a crash does.
    void reset();
    /// Returns when the client has closed the connection. Fails after a minute.
    void awaitClose();
    /// Waits for the test, or the end of the server.
    void wait(const Gate& gate) { gate.wait(stop_); }

   protected:
    explicit Connection(std::stop_token stop) : stop_(std::move(stop)) {}
    virtual void writeRaw(std::string_view bytes) = 0;
    virtual int descriptor() = 0;
    void endChunks();
    bool isClosed() const { return isClosed_; }

   private:
    std::stop_token stop_;
    bool isChunked_ = false;
    bool isClosed_ = false;
  };

  /// Called on several threads at once where there are several connections.
  using Handler = std::function<void(const Request&, Connection&)>;

  explicit HttpServer(Handler handler, Transport transport = Transport::plain);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  /// `http://127.0.0.1:PORT` or `https://localhost:PORT`, without a path.
  std::string url() const;
  std::uint16_t port() const;
  /// A PEM file that a client of a server with TLS has to trust.
  std::filesystem::path certificate() const;

  /// Those that have arrived, in that order.
  std::vector<Request> requests() const;
  /// How many have been accepted.
  std::size_t connections() const;

 private:
  class State;
  std::unique_ptr<State> state_;
};

}  // namespace ravant::test
