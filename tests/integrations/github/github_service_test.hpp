#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "integrations/github/github_service.hpp"
#include "platform/keystore/file_key_store.hpp"
#include "tests/integrations/github/simulated_github.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {

inline const GithubContentFilter kTools{.repositoryFullNames = {"octo/tools"}};
inline const GithubContentFilter kInvolved{.involvement = GithubFilterInvolvement::involved};
inline const GithubContentFilter kReviews{.involvement = GithubFilterInvolvement::reviewRequested};

/// Which request of a search a body is, counted by its cursor from 1.
inline int pageOf(const HttpServer::Request& request) {
  const auto body = parseJson(request.body);
  const json::object* variables = body ? objectAt(body->as_object(), "variables") : nullptr;
  if (variables == nullptr || !variables->contains("q")) return 0;
  const auto after = stringAt(*variables, "after");
  return after ? std::stoi(std::string(after->substr(7))) / 30 + 1 : 1;
}

/// The service beside a simulated GitHub, where the account `octocat` is added.
class GithubServiceTest : public testing::Test {
 protected:
  GithubServiceTest() { account = run(service->add("github.com", "octocat", std::string(SimulatedGithub::kToken))); }
  ~GithubServiceTest() override { run(service->close()); }

  GithubSyncRecord sync(GithubContentFilter filter) { return run(service->sync(account, std::move(filter))); }

  /// What the store shows, as `owner/name#number`.
  std::vector<std::string> shown(GithubContentFilter filter) {
    std::vector<std::string> names;
    for (const GithubPullRequest& pull : run(service->pulls().pulls(std::move(filter), account.id, "octocat"))) {
      names.push_back(pull.repositoryName + "#" + std::to_string(pull.number));
    }
    return names;
  }

  GithubPullRequest stored(const std::string& repository, std::int64_t number) {
    return run(service->pulls().pull(account.id, repository, number)).value();
  }

  /// What was announced while `operation` ran.
  template <class Operation>
  std::vector<Change> announcedBy(Operation operation) {
    asio::io_context loop;
    const auto subscription = run(store.container->changeFeed()->subscribe(loop.get_executor()), loop);
    operation();
    run(store.container->changeFeed()->flush());
    subscription->end();
    const auto batch = run(subscription->next(), loop);
    return batch ? batch->changes : std::vector<Change>();
  }

  /// How many rows a table has.
  std::int64_t rows(const std::string& table) {
    auto database = store.container->connect();
    auto statement = database.prepare("SELECT count(*) FROM " + table);
    auto row = statement.query();
    row.step();
    return row.int64(0);
  }

  template <class Result>
  static std::string wordsOf(awaitable<Result> operation) {
    try {
      run(std::move(operation));
    } catch (const std::exception& error) {
      return error.what();
    }
    return "nothing was thrown";
  }

  TemporaryFolder folder;
  SimulatedGithub github;
  OpenStore store{folder / "data"};
  std::shared_ptr<KeyStore> keys = std::make_shared<FileKeyStore>(folder / "keys.json");
  GithubConnection connection{.io = store.executors.io(),
                              .http = std::make_shared<HttpEngine>(),
                              .endpoints = GithubEndpoints(github.url()),
                              .tokens = std::make_shared<GithubTokens>(store.executors.work(), keys),
                              .clock = store.clock};
  std::shared_ptr<GithubService> service = GithubService::make(store.container, connection);
  GithubIntegration account;
};

}  // namespace ravant::test
