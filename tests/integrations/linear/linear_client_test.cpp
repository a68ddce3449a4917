#include "integrations/linear/linear_client.hpp"

#include <fmt/format.h>

#include "integrations/linear/linear_wire.hpp"
#include "tests/integrations/linear/linear_test.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Query = SimulatedLinear::Query;

constexpr const char* kRejected = "Linear rejected the API key. Check that the key is correct and not revoked.";
constexpr const char* kTooOften = "Linear rate limit reached. Try again in a moment.";

class LinearClientTest : public LinearTest {
 protected:
  std::shared_ptr<LinearClient> clientAt(const std::string& address) {
    LinearConnection there = connection();
    there.baseAddress = [address] { return address; };
    return LinearClient::make("acme", "ada@example.com", there,
                              std::make_shared<LinearKeys>(there.work, there.keyStore));
  }
  std::shared_ptr<LinearClient> client() { return clientAt(linear.url()); }
  void storeKey(const std::string& key = kLinearKey) { keyStore->store(kLinearKeyName, key, "label"); }
};

struct Refusal {
  const char* name;
  int status;
  std::string body;
  std::string words;
};

class LinearRefusalTest : public LinearClientTest, public testing::WithParamInterface<Refusal> {};

TEST_P(LinearRefusalTest, isToldOnOneLineWithoutTheKey) {
  storeKey();
  linear.answerInstead(Query::teams, 1, linearAnswer(GetParam().status, GetParam().body));
  EXPECT_EQ(failureOf(client()->teams()), GetParam().words);
}

const std::string kData = R"({"data":{"teams":{"nodes":[]}},"errors":[{"message":"partly"}]})";

INSTANTIATE_TEST_SUITE_P(
    Answers, LinearRefusalTest,
    testing::Values(
        Refusal{"rejected", 401, kLinearKey, kRejected},
        Refusal{"rejectedWith400", 400, R"({"errors":[{"message":"Authentication required, not authenticated"}]})",
                kRejected},
        Refusal{"denied", 403, "{}", "Linear denied the request (403)."}, Refusal{"tooOften", 429, "", kTooOften},
        Refusal{"tooOftenWith400", 400, R"({"errors":[{"message":"m","extensions":{"code":"RATELIMITED"}}]})",
                kTooOften},
        Refusal{"invalidQuery", 400, R"({"errors":[{"message":"Cannot query"}]})", "Linear returned HTTP 400"},
        Refusal{"broken", 502, "<html>" + kLinearKey, "Linear returned HTTP 502"},
        Refusal{"errorsAlone", 200,
                R"({"data":null,"errors":[{"message":"one)" + kLinearKey + R"("},{},7,{"message":"t\nwo\u001b[2J"}]})",
                "one[key]; t wo␛[2J"},
        Refusal{"errorsBesideUnusableData", 200, R"({"data":{"teams":null},"errors":[{"message":"timeout"}]})",
                "timeout"},
        Refusal{"nothing", 200, R"({"data":null})", "Empty GraphQL response."},
        Refusal{"rubbish", 200, "<p>\r\n\t" + kLinearKey + "\x1b]0;\xff" + std::string(300, 'x'),
                "Couldn't decode Linear response: <p> [key]␛]0;\uFFFD" + std::string(186, 'x')},
        Refusal{"anotherForm", 200, R"({"data":{"teams":{"nodes":[{"id":"1","key":null,"name":"N"}]}}})",
                "Couldn't decode Linear response: key is missing"},
        Refusal{"nestedTooDeep", 200, std::string(100'000, '['),
                "Couldn't decode Linear response: " + std::string(200, '[')}),
    [](const auto& row) { return row.param.name; });

TEST_F(LinearClientTest, dataBesideErrorsIsUsed) {
  storeKey();
  linear.answerInstead(Query::teams, 1, linearAnswer(200, kData));
  EXPECT_EQ(failureOf(client()->teams()), "");
}

TEST_F(LinearClientTest, theKeyGoesNowhereElse) {
  SimulatedLinear elsewhere;
  storeKey();
  linear.answerInstead(Query::viewer, 1, [&](HttpServer::Connection& connection) {
    connection.respond(307, {{"Location", elsewhere.url() + "/graphql"}});
  });
  EXPECT_EQ(failureOf(client()->viewer()), "Linear returned HTTP 307");
  EXPECT_EQ(elsewhere.requests().size(), 0U);
  for (const char* address : {"http://192.0.2.1", "ftp://127.0.0.1", ""}) {
    EXPECT_EQ(failureOf(clientAt(address)->viewer()), "Invalid Linear API URL.");
  }
}

TEST_F(LinearClientTest, aServerThatIsAwayOrEndlessIsANetworkError) {
  storeKey();
  EXPECT_THAT(failureOf(clientAt("http://127.0.0.1:1")->viewer()),
              StartsWith("Network error: Failed to connect to 127.0.0.1 port 1"));
  linear.answerInstead(Query::viewer, 1, [](HttpServer::Connection& connection) {
    connection.beginChunks(200);
    const std::string piece(1 << 20, ' ');
    for (int i = 0; i < 80; ++i) connection.write(piece);
  });
  EXPECT_EQ(failureOf(client()->viewer()), "Network error: the answer is larger than 64 MiB");
}

TEST_F(LinearClientTest, keysThatAreMissingOrCannotBeSentAreNotSent) {
  EXPECT_EQ(failureOf(client()->viewer()), "No stored API key for this workspace. Remove and re-add the integration.");
  storeKey("lin_api\r\nX-Other: 1");
  EXPECT_THAT(failureOf(client()->viewer()),
              testing::AllOf(HasSubstr("characters that none has"), Not(HasSubstr("X-"))));
  EXPECT_EQ(linear.requests().size(), 0U);
}

TEST(LinearWire, readsIssuesAsTheyCome) {
  const json::object odd = linearIssue(1, {{"priority", parseJson("2.0").value()},
                                           {"description", "d"},
                                           {"project", {{"name", "P"}}},
                                           {"state", {{"name", "S"}, {"type", "brand-new"}, {"color", "#fff"}}},
                                           {"createdAt", "2026-11-21T12:00:00.5+02:00"},
                                           {"updatedAt", "2026-11-21T10:00:00Z"}});
  json::object lean = linearIssue(2);
  lean.erase("description");
  lean.erase("project");
  const json::object page{
      {"viewer",
       {{"assignedIssues",
         {{"pageInfo", {{"hasNextPage", false}, {"endCursor", nullptr}}},
          {"nodes",
           {odd, lean, linearIssue(3, {{"updatedAt", "yesterday"}}), linearIssue(4, {{"state", nullptr}})}}}}}}};
  std::string body = compactJson(json::object{{"data", page}});
  // Cut in the middle of a character, as programs do that count in UTF-16 units.
  body.replace(body.find("Title 2"), 7, R"(Title \ud83d)");

  const auto answer = linear::assignedIssuesIn(body);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->pageInfo, LinearPageInfo());
  ASSERT_EQ(answer->issues.issues.size(), 2U);
  const LinearIssuePayload expected{.id = "issue-1",
                                    .identifier = "ENG-1",
                                    .title = "Title 1",
                                    .description = "d",
                                    .priority = 2,
                                    .priorityLabel = "Label",
                                    .stateName = "S",
                                    .stateTypeRaw = "brand-new",
                                    .stateColor = "#fff",
                                    .teamKey = "ENG",
                                    .teamName = "Engineering",
                                    .projectName = "P",
                                    .url = "https://linear.app/acme/issue/ENG-1",
                                    .createdAt = kMorning + std::chrono::milliseconds(500),
                                    .updatedAt = kMorning};
  EXPECT_EQ(answer->issues.issues[0], expected);
  EXPECT_EQ(answer->issues.issues[1].title, "Title \uFFFD");
  EXPECT_EQ(answer->issues.issues[1].description, std::nullopt);
  EXPECT_EQ(answer->issues.issues[1].projectName, std::nullopt);
  EXPECT_THAT(answer->issues.unreadable,
              ElementsAre(LinearUnreadableIssue{"issue-3", "Unrecognized ISO 8601 date: yesterday"},
                          LinearUnreadableIssue{"issue-4", "name is missing"}));
}

TEST(LinearWire, refusesPagesInWhichIssuesAreLost) {
  const auto problemOf = [](std::string_view nodes) {
    const auto answer = linear::assignedIssuesIn(fmt::format(
        R"({{"data":{{"viewer":{{"assignedIssues":{{"pageInfo":{{"hasNextPage":false}},"nodes":{}}}}}}}}})", nodes));
    return answer ? std::string() : answer.error().words;
  };
  EXPECT_EQ(problemOf("[]"), "");
  EXPECT_EQ(problemOf("[null]"), "an issue has no id");
  EXPECT_EQ(problemOf("null"), "nodes are missing");
  EXPECT_EQ(problemOf(fmt::format("[{}]", compactJson(linearIssue(1, {{"createdAt", "2026-13-01T00:00:00Z"}})))),
            "Unrecognized ISO 8601 date: 2026-13-01T00:00:00Z");
}

}  // namespace
}  // namespace ravant::test
