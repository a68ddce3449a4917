#include "tests/platform/http/http_session_test.hpp"

#include <fmt/chrono.h>

#include <atomic>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>

namespace ravant::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using Case = HttpError::Case;
using Connection = HttpServer::Connection;
using Request = HttpServer::Request;
using Transport = HttpServer::Transport;

enum class Moment { send, fill };

class HttpMomentTest : public HttpSessionTest, public testing::WithParamInterface<Moment> {
 protected:
  /// The first line where the response is waited for behind it, and then nothing.
  void begin(Connection& connection) {
    if (GetParam() == Moment::send) return;
    connection.beginEventStream();
    connection.write("first\n");
  }
  std::vector<std::string> firstLines() const {
    return GetParam() == Moment::send ? std::vector<std::string>{} : std::vector<std::string>{"first"};
  }
};

TEST_P(HttpMomentTest, invalidateEndsWhatWaits) {
  Gate isClosed;
  const HttpServer server([&](const Request&, Connection& connection) {
    begin(connection);
    if (GetParam() == Moment::send) asio::post(loop_, [&] { session_->invalidate(); });
    connection.awaitClose();
    isClosed.open();
  });
  const auto readAndInvalidate = [&]() -> awaitable<std::optional<Case>> {
    try {
      HttpResponse response = co_await session_->send({.url = server.url()});
      EXPECT_TRUE(co_await response.fill());
      EXPECT_EQ(response.tryNext(), "first");
      asio::post(loop_, [&] { session_->invalidate(); });
      co_await response.fill();
    } catch (const HttpError& error) {
      co_return error.kind();
    }
    co_return std::nullopt;
  };
  EXPECT_EQ(run(readAndInvalidate(), loop_), Case::cancelled);
  isClosed.wait();
  EXPECT_EQ(ask({.url = server.url()}).error, Case::cancelled);
  EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_P(HttpMomentTest, silenceIsAStall) {
  Gate isClosed;
  const HttpServer server([&](const Request&, Connection& connection) {
    begin(connection);
    connection.awaitClose();
    isClosed.open();
  });
  setOptions({.stallLimit = 100ms});
  const Answer answer = ask({.url = server.url()});
  EXPECT_EQ(answer.error, Case::stalled);
  EXPECT_EQ(answer.words, "nothing came for 0.1 s");
  EXPECT_EQ(answer.lines, firstLines());
  isClosed.wait();
}

INSTANTIATE_TEST_SUITE_P(, HttpMomentTest, testing::Values(Moment::send, Moment::fill),
                         [](const auto& info) { return info.param == Moment::send ? "send" : "fill"; });

TEST_F(HttpSessionTest, aDroppedResponseClosesItsConnection) {
  Gate isClosed;
  const HttpServer server([&](const Request&, Connection& connection) {
    connection.beginEventStream();
    connection.write("first\n");
    connection.awaitClose();
    isClosed.open();
  });
  static_cast<void>(send({.url = server.url()}));
  isClosed.wait();
}

TEST_F(HttpSessionTest, anEngineEndsWithItsTransfersUnderWay) {
  constexpr int kRequests = 4;
  std::atomic<int> arrived = 0;
  std::atomic<int> closed = 0;
  Gate areClosed;
  auto loop = std::make_unique<asio::io_context>();
  const HttpServer server([&](const Request& request, Connection& connection) {
    if (request.target == "/1") connection.beginEventStream();
    if (++arrived == kRequests) loop->stop();
    connection.awaitClose();
    if (++closed == kRequests) areClosed.open();
  });
  for (int i = 0; i < kRequests; ++i) {
    asio::co_spawn(*loop, answer({.url = fmt::format("{}/{}", server.url(), i)}), asio::detached);
  }
  loop->run();
  session_.reset();
  engine_.reset();
  loop.reset();
  areClosed.wait();
}

struct FaultCase {
  std::string name;
  HttpServer::Handler handler;
  std::vector<std::string> lines;
  Case error;
};

class FaultyHttpServerTest : public HttpSessionTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(FaultyHttpServerTest, failsBehindWhatArrived) {
  const auto& [name, handler, lines, error] = GetParam();
  for (const Transport transport : {Transport::plain, Transport::tls}) {
    const HttpServer server(handler, transport);
    trust(server.certificate());
    const Answer answer = ask({.method = "POST", .url = server.url(), .body = "{}"});
    EXPECT_EQ(answer.error, error) << answer.words;
    EXPECT_THAT(answer.words, Not(IsEmpty()));
    EXPECT_EQ(answer.lines, lines);
    EXPECT_THAT(server.requests(), SizeIs(1)) << "a request is not repeated";
  }
}

/// Writes `bytes` and closes the connection.
HttpServer::Handler cutBehind(std::string bytes) {
  return [bytes = std::move(bytes)](const Request&, Connection& connection) {
    connection.write(bytes);
    connection.close();
  };
}

INSTANTIATE_TEST_SUITE_P(
    , FaultyHttpServerTest,
    testing::Values(
        FaultCase{"closedAtOnce", cutBehind(""), {}, Case::noResponse},
        FaultCase{"closedInTheHead", cutBehind("HTTP/1.1 200 OK\r\nContent-Le"), {}, Case::noResponse},
        FaultCase{"reset", [](const Request&, Connection& connection) { connection.reset(); }, {}, Case::transfer},
        FaultCase{"otherProtocol", cutBehind("220 mail.example ready\r\n"), {}, Case::noResponse},
        FaultCase{"cutByLength",
                  cutBehind("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nfirst\nsec"),
                  {"first"},
                  Case::transfer},
        FaultCase{"cutInAChunk",
                  cutBehind("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n20\r\nfirst\nsec"),
                  {"first"},
                  Case::transfer},
        FaultCase{"cutBetweenChunks",
                  cutBehind("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n6\r\nfirst\n\r\n"),
                  {"first"},
                  Case::transfer},
        FaultCase{"badChunk",
                  cutBehind("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n6\r\nfirst\n\r\nzz\r\n"),
                  {"first"},
                  Case::transfer}),
    [](const auto& info) { return info.param.name; });

TEST_F(HttpSessionTest, nobodyListens) {
  auto server = std::make_unique<HttpServer>([](const Request&, Connection&) {});
  const std::string url = server->url();
  const std::string port = std::to_string(server->port());
  server.reset();
  const Answer answer = ask({.url = url});
  EXPECT_EQ(answer.error, Case::transfer);
  EXPECT_THAT(answer.words, AllOf(HasSubstr("127.0.0.1"), HasSubstr(port)));
  EXPECT_EQ(ask({.url = "no address"}).error, Case::transfer);
}

TEST_F(HttpSessionTest, anUnknownCertificateIsRefused) {
  const auto handler = [](const Request&, Connection& connection) { connection.respond(200); };
  const HttpServer known(handler, Transport::tls);
  const HttpServer unknown(handler, Transport::tls);
  trust(known.certificate());
  const Answer answer = ask({.url = unknown.url(), .headers = {{"Authorization", "Bearer x"}}});
  EXPECT_EQ(answer.error, Case::untrusted);
  EXPECT_THAT(answer.words, HasSubstr("certificate"));
  EXPECT_THAT(unknown.requests(), IsEmpty());
  EXPECT_EQ(ask({.url = known.url()}).status, 200);
}

struct RetryCase {
  std::string name;
  std::optional<std::string> value;
  std::optional<std::chrono::seconds> least;
  std::optional<std::chrono::seconds> most;
  std::string date = {};  ///< the server's
};

std::string httpDate(std::chrono::seconds fromNow) {
  return fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT",
                     std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now() + fromNow));
}

class RetryAfterTest : public HttpSessionTest, public testing::WithParamInterface<RetryCase> {};

TEST_P(RetryAfterTest, isATimeFromNow) {
  const auto& [name, value, least, most, date] = GetParam();
  std::vector<HttpHeader> headers;
  if (value) headers.push_back({"Retry-After", *value});
  if (!date.empty()) headers.push_back({"Date", date});
  const HttpServer server([&](const Request&, Connection& connection) { connection.respond(503, headers); });
  const HttpResponse response = send({.url = server.url()});
  EXPECT_GE(response.retryAfter(), least);
  EXPECT_LE(response.retryAfter(), most);
}

INSTANTIATE_TEST_SUITE_P(
    , RetryAfterTest,
    testing::Values(
        RetryCase{"seconds", "120", 120s, 120s}, RetryCase{"none", std::nullopt, std::nullopt, std::nullopt},
        RetryCase{"past", "Sun, 06 Nov 1994 08:49:37 GMT", 0s, 0s}, RetryCase{"future", httpDate(1h), 3000s, 3600s},
        RetryCase{"ofTheServersClock", "Sun, 06 Nov 1994 08:51:37 GMT", 120s, 120s, "Sun, 06 Nov 1994 08:49:37 GMT"},
        RetryCase{"dateWithoutEnd", "Sun, 06 Nov 2147483000 08:51:37 GMT", 24h * 365, 24h * 365},
        RetryCase{"negative", "-5", 0s, 0s}, RetryCase{"words", "in a while", std::nullopt, std::nullopt},
        RetryCase{"fraction", "1.5", std::nullopt, std::nullopt}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace ravant::test
