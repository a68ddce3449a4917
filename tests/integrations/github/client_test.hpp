#pragma once

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "integrations/github/github_client.hpp"
#include "platform/async/executors.hpp"
#include "platform/keystore/file_key_store.hpp"
#include "tests/support/http_server.hpp"
#include "tests/support/manual_clock.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {

using namespace std::chrono_literals;

inline constexpr std::string_view kToken = "ghp_3q8fHushHush";
inline constexpr Timestamp kNoon = std::chrono::sys_days(std::chrono::January / 15 / 2027) + 12h;

/// On one thread, that of the client.
class KeptPauses final : public GithubPauses {
 public:
  awaitable<std::optional<Timestamp>> pausedUntil(std::string resource) override {
    const auto found = ends.find(resource);
    co_return found == ends.end() ? std::nullopt : std::optional(found->second);
  }
  awaitable<void> pause(std::string resource, Timestamp until) override {
    if (isBroken) throw std::runtime_error("the disk is full");
    ends[resource] = until;
    co_return;
  }

  bool isBroken = false;
  std::map<std::string, Timestamp> ends;
};

/// A client of the public host, for which a server of the test stands.
class GithubClientTest : public testing::Test {
 protected:
  using Request = HttpServer::Request;
  using Connection = HttpServer::Connection;

  GithubClientTest() {
    for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "HTTPS_PROXY", "ALL_PROXY"}) ::unsetenv(name);
    run(tokens->setGithubToken(std::string(kToken), "github.com", "octo"));
  }

  void serve(HttpServer::Handler handler) {
    server = std::make_unique<HttpServer>(std::move(handler));
    connection.endpoints = GithubEndpoints(server->url());
    client = GithubClient::make("github.com", "octo", connection, pauses);
  }
  /// The same answer to everything.
  void serve(int status, std::vector<HttpHeader> headers, std::string body) {
    serve([=](const Request&, Connection& to) { to.respond(status, headers, body); });
  }

  /// What the operation threw.
  template <class Result>
  std::optional<GithubClientError> errorOf(awaitable<Result> operation) {
    try {
      run(std::move(operation));
    } catch (const GithubClientError& error) {
      return error;
    }
    return std::nullopt;
  }
  template <class Result>
  std::string wordsOf(awaitable<Result> operation) {
    const auto error = errorOf(std::move(operation));
    return error ? error->what() : "nothing was thrown";
  }
  std::size_t requests() const { return server->requests().size(); }

  TemporaryFolder folder;
  Executors executors;
  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>(kNoon);
  std::shared_ptr<KeptPauses> pauses = std::make_shared<KeptPauses>();
  std::shared_ptr<GithubTokens> tokens =
      std::make_shared<GithubTokens>(executors.work(), std::make_shared<FileKeyStore>(folder / "keys.json"));
  GithubConnection connection{
      .io = executors.io(), .http = std::make_shared<HttpEngine>(), .tokens = tokens, .clock = clock};
  std::unique_ptr<HttpServer> server;
  std::shared_ptr<GithubClient> client;
};

}  // namespace ravant::test
