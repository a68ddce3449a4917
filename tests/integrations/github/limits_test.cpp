#include <fmt/chrono.h>
#include <fmt/format.h>

#include <cstdlib>
#include <ctime>

#include "integrations/github/github_limits.hpp"
#include "tests/integrations/github/client_test.hpp"

namespace ravant::test {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using Case = GithubClientError::Case;

std::string secondsAt(Timestamp time) {
  return std::to_string(std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count());
}

std::string httpDate(Timestamp time) {
  return fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT", std::chrono::floor<std::chrono::seconds>(time));
}

struct PausedCase {
  std::string name;
  int status;
  std::vector<HttpHeader> headers;
  std::string body;
  std::chrono::seconds pause;
  bool isOfAll;
};

class GithubPauseTest : public GithubClientTest, public testing::WithParamInterface<PausedCase> {};

TEST_P(GithubPauseTest, nothingIsSentBeforeItsEnd) {
  const PausedCase& asked = GetParam();
  serve(asked.status, asked.headers, asked.body);
  const auto error = errorOf(client->pullRequests("q", std::nullopt));
  ASSERT_TRUE(error);
  ASSERT_EQ(error->kind(), Case::rateLimited) << error->what();
  const Timestamp end = kNoon + asked.pause;
  EXPECT_EQ(error->resumesAt(), end);

  clock->set(end - 1us);
  EXPECT_EQ(errorOf(client->pullRequests("q", std::nullopt))->resumesAt(), end);
  EXPECT_EQ(requests(), 1U);
  EXPECT_EQ(pauses->ends.contains("core"), asked.isOfAll);
  for (const auto& [limit, until] : pauses->ends) EXPECT_THAT(limit, AnyOf("core", "graphql", "search"));
  clock->set(end);
  errorOf(client->pullRequests("q", std::nullopt));
  EXPECT_EQ(requests(), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    , GithubPauseTest,
    testing::Values(
        PausedCase{"retryAfter", 403, {{"Retry-After", "90"}, {"X-RateLimit-Remaining", "0"}}, "", 90s, true},
        PausedCase{"tooMany", 429, {{"Retry-After", "7"}}, "", 7s, true},
        PausedCase{"absurd", 429, {{"Retry-After", "99999999999999999999"}}, "", 24h, true},
        PausedCase{"nothingToWaitFor", 429, {{"Retry-After", "0"}}, "", 1s, true},
        PausedCase{"unnamed", 429, {}, "", 60s, true},
        PausedCase{"secondary",
                   403,
                   {{"X-RateLimit-Remaining", "17"}},
                   R"({"message":"You have exceeded a secondary rate limit."})",
                   60s,
                   true},
        PausedCase{"spent",
                   403,
                   {{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", secondsAt(kNoon + 720s)}},
                   "",
                   720s,
                   false},
        PausedCase{"resetBehind",
                   403,
                   {{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", secondsAt(kNoon - 1s)}},
                   "",
                   60s,
                   false},
        PausedCase{"inTheAnswer",
                   200,
                   {{"X-RateLimit-Reset", secondsAt(kNoon + 30s)}, {"X-RateLimit-Resource", "graphql"}},
                   R"({"errors":[{"type":"RATE_LIMITED","message":"API rate limit exceeded"}]})",
                   30s,
                   false},
        PausedCase{"byItsType", 200, {}, R"({"errors":[{"type":"RATE_LIMIT","message":"no"}]})", 60s, false},
        PausedCase{"byItsCode", 200, {}, R"({"errors":[{"code":"graphql_rate_limit","message":"no"}]})", 60s, false},
        PausedCase{"spentBesideAnError",
                   200,
                   {{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", secondsAt(kNoon + 30s)}},
                   R"({"data":null,"errors":[{"message":"no"}]})",
                   30s,
                   false},
        PausedCase{"secondaryInTheAnswer",
                   200,
                   {},
                   R"({"data":null,"errors":[{"message":"You have exceeded a secondary rate limit."}]})",
                   60s,
                   true},
        PausedCase{"retryAfterInTheAnswer",
                   200,
                   {{"Retry-After", "90"}},
                   R"({"errors":[{"type":"RATE_LIMIT","message":"no"}]})",
                   90s,
                   true},
        PausedCase{"hostWithAnotherClock",
                   403,
                   {{"Date", httpDate(kNoon + 24h * 400)},
                    {"X-RateLimit-Remaining", "0"},
                    {"X-RateLimit-Reset", secondsAt(kNoon + 24h * 400 + 720s)}},
                   "",
                   720s,
                   false},
        PausedCase{
            "otherLimit", 403, {{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Resource", "search"}}, "", 60s, false},
        PausedCase{"noLimit",
                   403,
                   {{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Resource", std::string(kToken)}},
                   "",
                   60s,
                   false}),
    [](const auto& info) { return info.param.name; });

TEST_F(GithubClientTest, aSpentLimitLeavesTheOtherInterfaceOpen) {
  serve([&](const Request& request, Connection& to) {
    request.method == "GET" ? to.respond(403, {{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Resource", "core"}})
                            : to.respond(200, {}, R"({"errors":[{"message":"asked"}]})");
  });
  EXPECT_EQ(errorOf(client->currentUser())->kind(), Case::rateLimited);
  EXPECT_EQ(wordsOf(client->pullRequests("q", std::nullopt)), "asked");
  EXPECT_THAT(pauses->ends, ElementsAre(Pair("core", kNoon + 1min)));
}

TEST_F(GithubClientTest, aPauseIsToldWhereItCannotBeKeptAndForgottenWhereItCannotBeRight) {
  serve(429, {{"Retry-After", "5"}}, "");
  pauses->isBroken = true;
  EXPECT_EQ(errorOf(client->currentUser())->resumesAt(), kNoon + 5s);
  pauses->ends["core"] = kNoon + 24h;
  EXPECT_EQ(errorOf(client->currentUser())->resumesAt(), kNoon + 24h);
  EXPECT_EQ(requests(), 1U);
  pauses->ends["core"] = kNoon + 24h + 1us;  // of a clock that was ahead
  EXPECT_EQ(errorOf(client->currentUser())->resumesAt(), kNoon + 5s);
}

TEST(GithubRateLimitWords, nameTheTimeOfTheUser) {
  ::setenv("TZ", "XYZ-5:30", 1);
  ::tzset();
  const auto words = [](std::chrono::seconds wait) {
    return std::string(GithubClientError::rateLimited(kNoon + wait, kNoon).what());
  };
  EXPECT_EQ(words(1s), "Github's rate limit is spent. Try again after 17:31 (in 1 second).");
  EXPECT_EQ(words(719s), "Github's rate limit is spent. Try again after 17:42 (in 12 minutes).");
  EXPECT_EQ(words(24h), "Github's rate limit is spent. Try again after 17:30 (in 24 hours).");
  ::unsetenv("TZ");
  ::tzset();
}

TEST_F(GithubClientTest, costIsWhatGithubCounts) {
  std::vector<std::vector<HttpHeader>> answers = {
      {},
      {{"X-RateLimit-Used", "100"}, {"X-RateLimit-Reset", "2000"}},
      {{"X-RateLimit-Used", "105"}, {"X-RateLimit-Reset", "2000"}},
      {{"X-RateLimit-Used", "104"}, {"X-RateLimit-Reset", "2000"}},
      {{"X-RateLimit-Used", "300"}, {"X-RateLimit-Reset", "5600"}},
      {{"X-RateLimit-Used", "many"}, {"X-RateLimit-Reset", "5600"}},
      {{"X-RateLimit-Used", "900"}, {"X-RateLimit-Reset", "5600"}, {"X-RateLimit-Resource", "search"}},
      {{"X-RateLimit-Used", "302"}, {"X-RateLimit-Reset", "5600"}},
  };
  std::vector<std::int64_t> costs;
  serve([&, next = 0U](const Request&, Connection& to) mutable { to.respond(404, answers.at(next++)); });
  for (std::size_t i = 0; i < answers.size(); ++i) {
    errorOf(client->currentUser());
    costs.push_back(run(client->cost()));
  }
  EXPECT_THAT(costs, ElementsAre(1, 2, 7, 8, 9, 10, 11, 13));
}

}  // namespace
}  // namespace ravant::test
