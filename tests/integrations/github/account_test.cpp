#include <fmt/format.h>

#include <condition_variable>
#include <mutex>

#include "tests/integrations/github/client_test.hpp"

namespace ravant::test {
namespace {

using testing::HasSubstr;
using testing::Not;

struct HostCase {
  std::string name;
  std::string typed;
  std::string host;  ///< empty where it is refused
};

class GithubHostTest : public testing::TestWithParam<HostCase> {};

TEST_P(GithubHostTest, isANameWithAnOptionalPort) {
  std::string host;
  try {
    host = checkedGithubHost(GetParam().typed);
    EXPECT_EQ(checkedGithubHost(host), host);
  } catch (const GithubClientError& error) {
    EXPECT_STREQ(error.what(), "Invalid Github API URL.");
  }
  EXPECT_EQ(host, GetParam().host);
}

INSTANTIATE_TEST_SUITE_P(
    , GithubHostTest,
    testing::Values(HostCase{"public", " GitHub.com\n", "github.com"},
                    HostCase{"itsApi", "api.github.com", "github.com"},
                    HostCase{"itsSite", "www.github.com:443", "github.com"},
                    HostCase{"name", "Git-1.Corp_2.example", "git-1.corp_2.example"},
                    HostCase{"port", "git.example:08443", "git.example:8443"},
                    HostCase{"usualPort", "git.example:443", "git.example"},
                    HostCase{"short", "localhost", "localhost"},
                    HostCase{"address", "127.0.0.1:8080", "127.0.0.1:8080"},
                    HostCase{"address6", "[::1]:8080", "[::1]:8080"}, HostCase{"empty", " ", ""},
                    HostCase{"scheme", "https://github.com", ""}, HostCase{"path", "github.com/api", ""},
                    HostCase{"query", "github.com?x", ""}, HostCase{"fragment", "github.com#x", ""},
                    HostCase{"user", "github.com@evil.example", ""}, HostCase{"password", "a:b@evil.example", ""},
                    HostCase{"inside", "git hub.com", ""}, HostCase{"lineBreak", "github.com\r\nX: y", ""},
                    HostCase{"nul", std::string("github.com\0x", 12), ""}, HostCase{"unicode", "gïthub.com", ""},
                    HostCase{"percent", "github%2ecom", ""}, HostCase{"backslash", "github.com\\x", ""},
                    HostCase{"noPort", "git.example:", ""}, HostCase{"zeroPort", "git.example:0", ""},
                    HostCase{"largePort", "git.example:65536", ""}, HostCase{"signedPort", "git.example:+80", ""},
                    HostCase{"twoPorts", "git.example:80:80", ""}, HostCase{"dotBehind", "github.com.", ""},
                    HostCase{"twoDots", "git..example", ""}, HostCase{"dash", "-git.example", ""},
                    HostCase{"open6", "[::1", ""}, HostCase{"behind6", "[::1]x", ""}, HostCase{"bare6", "::1", ""},
                    HostCase{"no6", "[::g]", ""}, HostCase{"long", std::string(64, 'a') + ".example", ""}),
    [](const auto& info) { return info.param.name; });

TEST(GithubEndpointsTest, areThoseOfTheHost) {
  const GithubEndpoints usual;
  EXPECT_EQ(usual.apiBase("github.com"), "https://api.github.com");
  EXPECT_EQ(usual.graphqlBase("github.com"), "https://api.github.com/graphql");
  const GithubEndpoints other("http://127.0.0.1:99/");
  EXPECT_EQ(other.apiBase("github.com"), "http://127.0.0.1:99");
  EXPECT_EQ(other.graphqlBase("github.com"), "http://127.0.0.1:99/graphql");
  EXPECT_EQ(other.apiBase("git.example:8443"), "https://git.example:8443/api/v3");
  EXPECT_EQ(other.graphqlBase("127.0.0.1:99"), "https://127.0.0.1:99/api/graphql");
  for (const char* refused :
       {"http://0.0.0.0:99", "http://git.example", "http://[::]:99", "http://127.0.0.1.example"}) {
    EXPECT_ANY_THROW(GithubEndpoints{refused}) << refused;
  }
}

/// Keeps what cannot be sent, and nothing that it is given.
class OddKeyStore final : public KeyStore {
 public:
  std::optional<std::string> read(const KeyName& name, std::stop_token stop) override {
    asked = name.service + " " + name.account;
    if (!isSilent) return "two\nlines";
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any changed;
    isAsked.open();
    changed.wait_for(lock, stop, 20s, [] { return false; });
    throw KeyStoreError(KeyStoreError::Case::locked, "no answer");
  }
  void store(const KeyName&, const std::string&, const std::string&) override {
    throw KeyStoreError(KeyStoreError::Case::unavailable, "no session bus");
  }
  bool remove(const KeyName&) override { return false; }

  bool isSilent = false;
  Gate isAsked;
  std::string asked;
};

TEST_F(GithubClientTest, tokensAreCheckedOnTheirWayInAndOut) {
  const auto keyStore = std::make_shared<OddKeyStore>();
  const auto odd = std::make_shared<GithubTokens>(executors.work(), keyStore);
  const auto words = [](auto operation) -> std::string {
    try {
      run(std::move(operation));
    } catch (const GithubTokenError& error) {
      return error.what();
    }
    return "";
  };
  EXPECT_EQ(words(odd->githubToken("git.example", "Octo")),
            "The stored token of octo@git.example: The token has spaces, line breaks or other characters that none "
            "has.");
  EXPECT_EQ(keyStore->asked, "com.ravant.integrations.github octo@git.example");
  for (const std::string bad : {" \n", "a b", "tok\x01", "tök", "a\r\nX: y"}) {
    EXPECT_THAT(words([&]() -> awaitable<std::string> {
                  co_await tokens->setGithubToken(bad, "github.com", "octo");
                  co_return "";
                }()),
                testing::AllOf(testing::StartsWith("The token "), Not(HasSubstr(bad))));
  }
  EXPECT_EQ(run(tokens->githubToken("github.com", "OCTO")), kToken) << "what is refused replaces nothing";
  EXPECT_EQ(words([&]() -> awaitable<std::string> {
              co_await odd->setGithubToken("abc", "github.com", "octo");
              co_return "";
            }()),
            "Couldn't store the access token in the keychain: no session bus");
  EXPECT_TRUE(run(tokens->removeGithubToken("github.com", "Octo")));
  EXPECT_FALSE(run(tokens->removeGithubToken("github.com", "Octo")));
  EXPECT_EQ(errorOf(tokens->githubToken("github.com", "octo"))->kind(), GithubClientError::Case::missingToken);
}

TEST_F(GithubClientTest, closingDoesNotWaitForTheKeyStore) {
  const auto keyStore = std::make_shared<OddKeyStore>();
  keyStore->isSilent = true;
  connection.tokens = std::make_shared<GithubTokens>(executors.work(), keyStore);
  serve(200, {}, "");
  const auto began = std::chrono::steady_clock::now();
  std::thread closing([&] {
    keyStore->isAsked.wait();
    run([&]() -> awaitable<bool> {
      co_await client->close();
      co_return true;
    }());
  });
  EXPECT_THROW(run(client->currentUser()), KeyStoreError);
  closing.join();
  EXPECT_LT(std::chrono::steady_clock::now() - began, 5s);
}

}  // namespace
}  // namespace ravant::test
