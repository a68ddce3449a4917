#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "platform/http/http_session.hpp"
#include "tests/support/http_server.hpp"
#include "tests/support/run.hpp"

namespace ravant::test {

/// What came of a request.
struct Answer {
  int status = 0;
  std::vector<std::string> lines;
  std::optional<HttpError::Case> error;
  std::string words;
};

/// Sessions without the proxies of whoever runs the tests.
class HttpSessionTest : public testing::Test {
 protected:
  HttpSessionTest() { forgetProxies(); }
  ~HttpSessionTest() override {
    session_.reset();
    engine_.reset();
    forgetProxies();
  }

  static void forgetProxies() {
    for (const char* name :
         {"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTPS_PROXY", "ALL_PROXY", "NO_PROXY"}) {
      ::unsetenv(name);
    }
  }

  /// Before the first request.
  void trust(const std::filesystem::path& certificate) {
    engine_ = std::make_shared<HttpEngine>(HttpEngineOptions{.certificates = certificate});
    setOptions({});
  }
  void setOptions(HttpSessionOptions options) { session_ = std::make_unique<HttpSession>(engine_, options); }

  HttpResponse send(HttpRequest request) { return send(*session_, std::move(request)); }
  HttpResponse send(HttpSession& session, HttpRequest request) {
    std::optional<HttpResponse> response;
    const auto sent = [&]() -> awaitable<void> { response.emplace(co_await session.send(std::move(request))); };
    run(sent(), loop_);
    return *std::move(response);
  }
  std::string text(HttpResponse& response, std::size_t limit = 100 * 1024 * 1024) {
    return run(response.text(limit, std::chrono::seconds(20)), loop_).text;
  }
  Answer ask(HttpRequest request) { return run(answer(std::move(request)), loop_); }

  awaitable<Answer> answer(HttpRequest request) {
    Answer answer;
    try {
      HttpResponse response = co_await session_->send(std::move(request));
      answer.status = response.status();
      for (;;) {
        while (const auto line = response.tryNext()) answer.lines.emplace_back(*line);
        if (!co_await response.fill()) break;
      }
    } catch (const HttpError& error) {
      answer.error = error.kind();
      answer.words = error.what();
    }
    co_return answer;
  }

  asio::io_context loop_;
  std::shared_ptr<HttpEngine> engine_ = std::make_shared<HttpEngine>();
  std::unique_ptr<HttpSession> session_ = std::make_unique<HttpSession>(engine_);
};

}  // namespace ravant::test
