#include "tests/support/http_server.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/impl/src.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <cerrno>
#include <charconv>
#include <list>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/text/text.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using TlsStream = asio::ssl::stream<tcp::socket>;
using Transport = HttpServer::Transport;
using boost::system::system_error;

constexpr std::chrono::milliseconds kPatience{60'000};
constexpr std::string_view kLineEnd = "\r\n";
constexpr char kTlsHello = '\x16';

[[noreturn]] void throwStopped() { throw system_error(asio::error::operation_aborted); }

/// False when nothing of it has happened for so long.
bool awaitEvents(int descriptor, short events, std::chrono::milliseconds limit) {
  pollfd wanted{.fd = descriptor, .events = events, .revents = 0};
  int count = 0;
  do {
    count = ::poll(&wanted, 1, static_cast<int>(limit.count()));
  } while (count < 0 && errno == EINTR);
  return count != 0;
}

template <auto free>
struct FreeWith {
  template <class Value>
  void operator()(Value* value) const {
    free(value);
  }
};
template <class Value, auto free>
using Owned = std::unique_ptr<Value, FreeWith<free>>;

/// A certificate for this machine that vouches for itself, and its key.
class Certificate {
 public:
  Certificate() : key_(EVP_EC_gen("P-256")), certificate_(X509_new()) {
    constexpr long kDay = 24L * 60 * 60;
    X509* const made = certificate_.get();
    X509_set_version(made, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made), 1);
    X509_gmtime_adj(X509_getm_notBefore(made), -kDay);
    X509_gmtime_adj(X509_getm_notAfter(made), kDay);
    X509_NAME* const name = X509_get_subject_name(made);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"), -1, -1,
                               0);
    X509_set_issuer_name(made, name);
    X509_set_pubkey(made, key_.get());
    add(NID_basic_constraints, "critical,CA:TRUE");
    add(NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
    if (X509_sign(made, key_.get(), EVP_sha256()) == 0) throw std::runtime_error("the certificate cannot be signed");
    const Owned<BIO, &BIO_free_all> file(BIO_new_file(path().c_str(), "w"));
    PEM_write_bio_X509(file.get(), made);
  }

  std::filesystem::path path() const { return folder_ / "certificate.pem"; }
  void use(asio::ssl::context& context) const {
    SSL_CTX_use_certificate(context.native_handle(), certificate_.get());
    SSL_CTX_use_PrivateKey(context.native_handle(), key_.get());
  }

 private:
  void add(int kind, const char* value) {
    const Owned<X509_EXTENSION, &X509_EXTENSION_free> extension(X509V3_EXT_conf_nid(nullptr, nullptr, kind, value));
    X509_add_ext(certificate_.get(), extension.get(), -1);
  }

  TemporaryFolder folder_;
  Owned<EVP_PKEY, &EVP_PKEY_free> key_;
  Owned<X509, &X509_free> certificate_;
};

/// One accepted connection. All but `cut` is on its thread.
class Accepted final : public HttpServer::Connection {
 public:
  Accepted(tcp::socket socket, asio::ssl::context& context, Transport transport, std::stop_token stop)
      : Connection(std::move(stop)), stream_(std::move(socket), context), transport_(transport) {
    ::fcntl(descriptor(), F_SETFD, FD_CLOEXEC);
    stream_.next_layer().set_option(tcp::no_delay(true));
    if (transport == Transport::plain) stream_.next_layer().set_option(asio::socket_base::send_buffer_size(64 * 1024));
  }

  void serve(const std::function<void(HttpServer::Request)>& keep, const HttpServer::Handler& handler) {
    if (transport_ == Transport::tls) stream_.handshake(TlsStream::server);
    while (auto request = readRequest()) {
      keep(*request);
      handler(*request, *this);
      endChunks();
      if (isClosed() || request->header("Connection") == "close") return;
    }
  }

  /// The descriptor stays open until the thread is gone, so that no other file can have got its number.
  void cut() { ::shutdown(descriptor(), SHUT_RDWR); }

 private:
  void writeRaw(std::string_view bytes) override {
    if (transport_ == Transport::tls) {
      asio::write(stream_, asio::buffer(bytes));
    } else {
      asio::write(stream_.next_layer(), asio::buffer(bytes));
    }
  }

  int descriptor() override { return stream_.next_layer().native_handle(); }

  void readMore() {
    std::array<char, 64 * 1024> piece;
    const std::size_t count = transport_ == Transport::tls ? stream_.read_some(asio::buffer(piece))
                                                           : stream_.next_layer().read_some(asio::buffer(piece));
    unread_.append(piece.data(), count);
  }

  /// Up to and without the next such text.
  std::string readUntil(std::string_view end) {
    std::size_t found = 0;
    while ((found = unread_.find(end)) == std::string::npos) readMore();
    std::string text = unread_.substr(0, found);
    unread_.erase(0, found + end.size());
    return text;
  }

  std::string readBytes(std::size_t size) {
    while (unread_.size() < size) readMore();
    std::string text = unread_.substr(0, size);
    unread_.erase(0, size);
    return text;
  }

  static std::size_t number(std::string_view text, int base) {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end == text.data()) throw std::runtime_error(fmt::format("no number: {}", text));
    return value;
  }

  std::string readChunks() {
    std::string body;
    while (const std::size_t size = number(readUntil(kLineEnd), 16)) {
      body += readBytes(size);
      readUntil(kLineEnd);
    }
    while (!readUntil(kLineEnd).empty()) {
    }
    return body;
  }

  /// Nothing where the client has closed the connection instead, or wants TLS of a server without.
  std::optional<HttpServer::Request> readRequest() {
    std::string line;
    try {
      if (unread_.empty()) readMore();
      if (unread_.front() == kTlsHello) return std::nullopt;
      line = readUntil(kLineEnd);
    } catch (const system_error&) {
      if (unread_.empty()) return std::nullopt;
      throw;
    }
    const std::size_t target = line.find(' ');
    const std::size_t version = line.rfind(' ');
    if (target == version) throw std::runtime_error("no request line: " + line);
    HttpServer::Request request{.method = line.substr(0, target),
                                .target = line.substr(target + 1, version - target - 1)};
    while (!(line = readUntil(kLineEnd)).empty()) {
      const std::size_t colon = line.find(':');
      if (colon == std::string::npos) throw std::runtime_error("no header: " + line);
      request.headers.push_back(
          {.name = line.substr(0, colon), .value = std::string(trimmed(std::string_view(line).substr(colon + 1)))});
    }
    if (request.header("Transfer-Encoding") == "chunked") {
      request.body = readChunks();
    } else if (const auto length = request.header("Content-Length")) {
      request.body = readBytes(number(*length, 10));
    }
    return request;
  }

  TlsStream stream_;
  const Transport transport_;
  std::string unread_;
};

std::string headOf(int status, const std::vector<HttpHeader>& headers) {
  std::string head = fmt::format("HTTP/1.1 {} \r\n", status);
  for (const auto& [name, value] : headers) head += name + ": " + value + "\r\n";
  return head;
}

}  // namespace

void Gate::open() {
  const std::lock_guard lock(mutex_);
  isOpen_ = true;
  changed_.notify_all();
}

bool Gate::isOpen() const {
  const std::lock_guard lock(mutex_);
  return isOpen_;
}

void Gate::wait(std::stop_token stop) const {
  std::unique_lock lock(mutex_);
  if (changed_.wait_for(lock, stop, kPatience, [this] { return isOpen_; })) return;
  if (stop.stop_requested()) throwStopped();
  throw std::runtime_error("nobody opens the gate");
}

std::optional<std::string> HttpServer::Request::header(std::string_view name) const {
  const auto found = std::ranges::find_if(headers, [&](const HttpHeader& header) {
    return header.name.size() == name.size() && ::strncasecmp(header.name.data(), name.data(), name.size()) == 0;
  });
  return found == headers.end() ? std::nullopt : std::optional(found->value);
}

void HttpServer::Connection::respond(int status, const std::vector<HttpHeader>& headers, std::string_view body) {
  write(fmt::format("{}Content-Length: {}\r\n\r\n{}", headOf(status, headers), body.size(), body));
}

void HttpServer::Connection::beginChunks(int status, const std::vector<HttpHeader>& headers) {
  write(headOf(status, headers) + "Transfer-Encoding: chunked\r\n\r\n");
  isChunked_ = true;
}

void HttpServer::Connection::beginEventStream() {
  beginChunks(200, {{.name = "Content-Type", .value = "text/event-stream"}});
}

void HttpServer::Connection::write(std::string_view bytes) {
  if (!isChunked_) {
    writeRaw(bytes);
  } else if (!bytes.empty()) {
    writeRaw(fmt::format("{:x}\r\n{}\r\n", bytes.size(), bytes));
  }
}

void HttpServer::Connection::endChunks() {
  if (std::exchange(isChunked_, false) && !isClosed_) writeRaw("0\r\n\r\n");
}

std::size_t HttpServer::Connection::writeUntilFull(std::string_view bytes, std::chrono::milliseconds patience) {
  std::size_t written = 0;
  while (written < bytes.size() && awaitEvents(descriptor(), POLLOUT, patience)) {
    const ssize_t count =
        ::send(descriptor(), bytes.data() + written, bytes.size() - written, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno != EAGAIN && errno != EINTR) {
      throw system_error(errno, boost::system::system_category());
    }
  }
  if (stop_.stop_requested()) throwStopped();
  return written;
}

void HttpServer::Connection::close() {
  isClosed_ = true;
  ::shutdown(descriptor(), SHUT_WR);
}

void HttpServer::Connection::reset() {
  isClosed_ = true;
  const linger atOnce{.l_onoff = 1, .l_linger = 0};
  ::setsockopt(descriptor(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

void HttpServer::Connection::awaitClose() {
  const bool isSeen = awaitEvents(descriptor(), POLLRDHUP, kPatience);
  if (stop_.stop_requested()) throwStopped();
  if (!isSeen) throw std::runtime_error("the client does not close the connection");
  isClosed_ = true;
}

/// What the threads share.
class HttpServer::State {
 public:
  State(Handler handler, Transport transport) : handler_(std::move(handler)), transport_(transport) {
    ::fcntl(acceptor_.native_handle(), F_SETFD, FD_CLOEXEC);
    certificate_.use(context_);
    port_ = acceptor_.local_endpoint().port();
    accepting_ = std::thread([this] { accept(); });
  }

  ~State() {
    stop_.request_stop();
    ::shutdown(acceptor_.native_handle(), SHUT_RDWR);
    accepting_.join();
    // None is added any more.
    {
      const std::lock_guard lock(mutex_);
      for (const Served& served : served_) {
        if (served.connection) served.connection->cut();
      }
    }
    for (Served& served : served_) served.thread.join();
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  std::string url() const {
    return fmt::format("{}:{}", transport_ == Transport::tls ? "https://localhost" : "http://127.0.0.1", port_);
  }
  std::uint16_t port() const { return port_; }
  std::filesystem::path certificate() const { return certificate_.path(); }

  std::vector<Request> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }
  std::size_t connections() const {
    const std::lock_guard lock(mutex_);
    return served_.size();
  }

 private:
  struct Served {
    std::unique_ptr<Accepted> connection;  ///< gone when it has ended
    std::thread thread;
  };

  void accept() {
    for (;;) {
      boost::system::error_code error;
      tcp::socket socket = acceptor_.accept(error);
      if (error || stop_.stop_requested()) return;
      const std::lock_guard lock(mutex_);
      Served& served = served_.emplace_back();
      served.connection = std::make_unique<Accepted>(std::move(socket), context_, transport_, stop_.get_token());
      served.thread = std::thread([this, &served] { serve(served); });
    }
  }

  void serve(Served& served) {
    const auto keep = [this](Request request) {
      const std::lock_guard lock(mutex_);
      requests_.push_back(std::move(request));
    };
    Accepted* connection = nullptr;
    {
      const std::lock_guard lock(mutex_);
      connection = served.connection.get();
    }
    try {
      connection->serve(keep, handler_);
    } catch (const std::exception& error) {
      const bool isConnectionGone = dynamic_cast<const system_error*>(&error) != nullptr;
      if (!isConnectionGone) ADD_FAILURE() << "a handler of the server: " << error.what();
    }
    const std::lock_guard lock(mutex_);
    served.connection.reset();
  }

  const Handler handler_;
  const Transport transport_;
  const Certificate certificate_;
  std::stop_source stop_;
  asio::io_context io_;
  asio::ssl::context context_{asio::ssl::context::tls_server};
  tcp::acceptor acceptor_{io_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
  std::uint16_t port_ = 0;
  mutable std::mutex mutex_;
  std::list<Served> served_;
  std::vector<Request> requests_;
  std::thread accepting_;
};

HttpServer::HttpServer(Handler handler, Transport transport)
    : state_(std::make_unique<State>(std::move(handler), transport)) {}
HttpServer::~HttpServer() = default;

std::string HttpServer::url() const { return state_->url(); }
std::uint16_t HttpServer::port() const { return state_->port(); }
std::filesystem::path HttpServer::certificate() const { return state_->certificate(); }
std::vector<HttpServer::Request> HttpServer::requests() const { return state_->requests(); }
std::size_t HttpServer::connections() const { return state_->connections(); }

}  // namespace ravant::test
