#include "app/application.hpp"

#include <gmock/gmock.h>

#include <boost/asio/experimental/awaitable_operators.hpp>

#include "app/services.hpp"
#include "tests/support/http_server.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

class ApplicationTest : public testing::Test {
 protected:
  void TearDown() override {
    for (const char* name : {"RAVANT_GITHUB_URL", "RAVANT_LINEAR_URL"}) ::unsetenv(name);
  }

  std::unique_ptr<Application> open(std::string_view settings) const {
    return Application::open(
        {.dataFolder = folder_ / "data", .settingsFile = folder_.write("settings.json", settings)});
  }

  /// Why a service cannot be asked.
  static std::string refusal(awaitable<void> asking) {
    try {
      run(std::move(asking));
      return "";
    } catch (const ServiceAddressError& error) {
      return error.what();
    }
  }

 private:
  TemporaryFolder folder_;
};

TEST_F(ApplicationTest, aWrongAddressIsAnErrorOfWhatUsesIt) {
  ::setenv("RAVANT_GITHUB_URL", "http://github.example", 1);
  const auto application = open(R"({"keyStore":"file","endpoints":{"linear":"linear.example/x"}})");
  EXPECT_THAT(run(application->github().integrations().integrations()), testing::IsEmpty());
  EXPECT_THAT(run(application->linear().integrations()), testing::IsEmpty());
  const auto addAccount = [&]() -> awaitable<void> {
    co_await application->github().add("github.com", "octocat", "a-token");
  };
  EXPECT_THAT(refusal(addAccount()),
              AllOf(HasSubstr("the address of GitHub cannot be used: \"http://github.example\" is not encrypted"),
                    EndsWith("(see the environment variable RAVANT_GITHUB_URL)")));
  const auto addWorkspace = [&]() -> awaitable<void> { co_await application->linear().add("a-key"); };
  EXPECT_THAT(refusal(addWorkspace()), EndsWith("(see the setting endpoints.linear)"));
  run(application->shutdown());
}

TEST_F(ApplicationTest, itsEndEndsTheRequests) {
  for (const bool isGithub : {true, false}) {
    Gate asked;
    HttpServer server([&](const HttpServer::Request&, HttpServer::Connection& connection) {
      asked.open();
      connection.awaitClose();
    });
    ::setenv("RAVANT_GITHUB_URL", server.url().c_str(), 1);
    ::setenv("RAVANT_LINEAR_URL", server.url().c_str(), 1);
    const auto application = open(R"({"keyStore":"file","http":{"stallSeconds":90}})");
    const auto asking = [&]() -> awaitable<std::string> {
      try {
        if (isGithub) {
          co_await application->github().add("github.com", "octocat", "a-token");
        } else {
          co_await application->linear().add("a-key");
        }
        co_return "added";
      } catch (const std::exception&) {
        co_return "ended";
      }
    };
    const auto ending = [&]() -> awaitable<void> {
      asked.wait();
      co_await application->shutdown();
    };
    using namespace asio::experimental::awaitable_operators;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run(asking() && ending()), "ended");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::minutes(1)) << "they were left to their limit";
  }
}

}  // namespace
}  // namespace ravant::test
