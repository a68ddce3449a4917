#include "tests/integrations/github/client_test.hpp"

#include <fmt/format.h>

#include <atomic>
#include <boost/asio/experimental/awaitable_operators.hpp>

namespace ravant::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using Case = GithubClientError::Case;

constexpr std::string_view kPull =
    R"({"id":"PR_1","number":7,"title":"Title","url":"https://github.com/o/r/pull/7","isDraft":true,"merged":false,)"
    R"("closed":false,"repository":{"nameWithOwner":"o/r"},"author":{"login":"ann"},"reviewDecision":"APPROVED",)"
    R"("commits":{"nodes":[{"commit":{"statusCheckRollup":{"state":"ERROR"}}}]}})";
constexpr std::string_view kFragment =
    "fragment PullFields on PullRequest {\n  id\n  number\n  title\n  url\n  isDraft\n  merged\n  closed\n  repository "
    "{ nameWithOwner }\n  author { login }\n  reviewDecision\n  commits(last: 1) {\n    nodes { commit { "
    "statusCheckRollup { state } } }\n  }\n}";

std::string replaced(std::string text, std::string_view part, std::string_view by) {
  const std::size_t at = text.find(part);
  return at == std::string::npos ? text : text.replace(at, part.size(), by);
}

/// As it stands in JSON.
std::string escaped(std::string text) {
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) text.replace(at, 1, "\\n");
  return text;
}

std::vector<std::string> fieldsOf(const HttpServer::Request& request) {
  std::vector<std::string> fields;
  for (const HttpHeader& header : request.headers) fields.push_back(header.name + ": " + header.value);
  std::erase_if(fields, [](const std::string& field) {
    return field.starts_with("Host: ") || field.starts_with("Content-Length: ");
  });
  return fields;
}

TEST_F(GithubClientTest, requestsAreExactlyWhatGithubExpects) {
  serve(200, {}, R"({"login":"octo","id":1,"name":null})");
  EXPECT_EQ(run(client->currentUser()), (GithubUser{.login = "octo", .id = 1, .name = std::nullopt}));
  EXPECT_EQ(wordsOf(client->pullRequests("is:pr \"q\"", std::nullopt)), "Empty GraphQL response.");
  EXPECT_EQ(wordsOf(client->pullRequests("q", "cursor==")), "Empty GraphQL response.");
  EXPECT_EQ(wordsOf(client->pullRequests({{"o/r", 7}, {"p/s", 8}})), "Empty GraphQL response.");
  using Sort = GithubRepositorySort;
  for (const auto sort : {Sort::updated, Sort::pushed, Sort::fullName}) errorOf(client->repositories(sort, 3));

  const auto requests = server->requests();
  ASSERT_THAT(requests, SizeIs(7));
  const std::string authorization = fmt::format("Authorization: Bearer {}", kToken);
  EXPECT_EQ(requests[0].method + requests[0].target, "GET/user");
  EXPECT_THAT(fieldsOf(requests[0]), UnorderedElementsAre(authorization, "Accept: application/vnd.github+json",
                                                          "X-GitHub-Api-Version: 2022-11-28", "User-Agent: ravant"));
  EXPECT_EQ(requests[1].method + requests[1].target, "POST/graphql");
  EXPECT_THAT(fieldsOf(requests[1]), UnorderedElementsAre(authorization, "Accept: application/vnd.github+json",
                                                          "X-GitHub-Api-Version: 2022-11-28", "User-Agent: ravant",
                                                          "Content-Type: application/json"));
  const std::string search = fmt::format(
      "query($q: String!, $after: String) {{\n  search(query: $q, type: ISSUE, first: 30, after: $after) {{\n    "
      "pageInfo {{ hasNextPage endCursor }}\n    nodes {{\n      ... on PullRequest {{ ...PullFields }}\n    }}\n  }}\n"
      "}}\n{}",
      kFragment);
  EXPECT_EQ(requests[1].body,
            fmt::format(R"({{"query":"{}","variables":{{"q":"is:pr \"q\"","after":null}}}})", escaped(search)));
  EXPECT_THAT(requests[2].body, HasSubstr(R"("variables":{"q":"q","after":"cursor=="})"));
  const std::string references = fmt::format(
      "query($o0: String!, $n0: String!, $p0: Int!, $o1: String!, $n1: String!, $p1: Int!) {{\n  a0: "
      "repository(owner: $o0, name: $n0) {{ pullRequest(number: $p0) {{ ...PullFields }} }}\n  a1: repository(owner: "
      "$o1, name: $n1) {{ pullRequest(number: $p1) {{ ...PullFields }} }}\n}}\n{}",
      kFragment);
  EXPECT_EQ(requests[3].body,
            fmt::format(R"({{"query":"{}","variables":{{"o0":"o","n0":"r","p0":7,"o1":"p","n1":"s","p1":8}}}})",
                        escaped(references)));
  const std::string repos = "/user/repos?affiliation=owner,collaborator,organization_member&sort=";
  EXPECT_EQ(requests[4].target, repos + "updated&direction=desc&per_page=30&page=3");
  EXPECT_EQ(requests[5].target, repos + "pushed&direction=desc&per_page=30&page=3");
  EXPECT_EQ(requests[6].target, repos + "full_name&direction=asc&per_page=30&page=3");
}

TEST_F(GithubClientTest, tokensAreValidatedByTheirLogin) {
  serve(200, {}, R"({"login":"Octo","id":1})");
  EXPECT_EQ(run(GithubClient::validateCredentials("GitHub.com", "octo", " abc\n", connection)).login, "Octo");
  EXPECT_EQ(server->requests().back().header("Authorization"), "Bearer abc");
  EXPECT_EQ(wordsOf(GithubClient::validateCredentials("github.com", "ann", "abc", connection)),
            "Token belongs to Octo, not ann.");
  EXPECT_EQ(wordsOf(GithubClient::validateCredentials("a b", "ann", "abc", connection)), "Invalid Github API URL.");
  EXPECT_EQ(wordsOf(GithubClient::make("github.com", "nobody", connection, nullptr)->currentUser()),
            "No stored token for this account. Remove and re-add the integration.");
  EXPECT_EQ(requests(), 2U);

  serve(200, {}, R"({"login":"ABC","id":1})");
  EXPECT_EQ(wordsOf(GithubClient::validateCredentials("github.com", "ann", " abc", connection)),
            "Token belongs to [token], not ann.");
}

struct RefusedCase {
  std::string name;
  int status;
  std::string body;
  std::string words;
};

class GithubRefusalTest : public GithubClientTest, public testing::WithParamInterface<RefusedCase> {};

TEST_P(GithubRefusalTest, isToldOnOneLineWithoutTheToken) {
  serve(GetParam().status, {}, GetParam().body);
  const auto error = errorOf(client->currentUser());
  ASSERT_TRUE(error);
  EXPECT_EQ(error->what(), GetParam().words);
  EXPECT_THAT(error->body(), Not(HasSubstr(kToken)));
}

INSTANTIATE_TEST_SUITE_P(
    , GithubRefusalTest,
    testing::Values(RefusedCase{"unauthorized", 401, fmt::format("Bad token {}", kToken),
                                "Github rejected the token (401). Check that the token is correct and not expired."},
                    RefusedCase{"forbidden", 403, "{}",
                                "Github denied the request (403). Token may lack required scopes."},
                    RefusedCase{"notFound", 404, "", "Github returned 404."},
                    RefusedCase{"broken", 502, "<html>\n</html>", "Github returned HTTP 502"},
                    RefusedCase{"movedNowhere", 301, "", "Github returned HTTP 301"},
                    RefusedCase{"noJson", 200, fmt::format("<b>\x1b[31m\r\n\t{}</b>\xff", kToken),
                                "Couldn't decode Github response: <b> [31m [token]</b>\xef\xbf\xbd"},
                    RefusedCase{"otherJson", 200, R"({"login":5})", R"(Couldn't decode Github response: {"login":5})"},
                    RefusedCase{"long", 200, std::string(198, 'x') + fmt::format("ü{}", kToken),
                                "Couldn't decode Github response: " + std::string(198, 'x') + "ü["},
                    RefusedCase{"atTheEndOfWhatIsRead", 200, std::string(16 * 1024 - 5, ' ') + std::string(kToken),
                                "Couldn't decode Github response: [toke"},
                    RefusedCase{"empty", 204, "", "Couldn't decode Github response: "}),
    [](const auto& info) { return info.param.name; });

TEST_F(GithubClientTest, responsesThatDoNotEndWellAreErrorsOfTheNetwork) {
  connection.session.stallLimit = 300ms;
  const std::string beginning = "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n[]";
  serve([&](const Request& request, Connection& to) {
    switch (request.target.back()) {
      case '1':
        return to.close();
      case '2':
        to.write(beginning);
        return to.close();
      default:
        to.write(beginning);
        return to.awaitClose();
    }
  });
  for (const int page : {1, 2, 3}) {
    EXPECT_THAT(wordsOf(client->repositories(GithubRepositorySort::updated, page)), StartsWith("Network error: "));
  }

  connection.session.stallLimit = 20s;
  serve([&](const Request&, Connection& to) {
    to.beginChunks(200);
    const std::string mebibyte(1024 * 1024, ' ');
    for (;;) to.write(mebibyte);
  });
  EXPECT_EQ(wordsOf(client->currentUser()), "Network error: The response has more than 64 MB.");
}

TEST_F(GithubClientTest, repositoriesHaveTheirDates) {
  const auto repository = [](int id, std::string_view pushedAt) {
    return fmt::format(R"({{"id":{},"name":"r","full_name":"o/r","private":true{}}})", id, pushedAt);
  };
  serve(200, {},
        "[" + repository(1, R"(,"pushed_at":"2027-01-15T12:00:00Z")") + "," +
            repository(2, R"(,"pushed_at":"2027-01-15T14:00:00.000+02:00")") + "," +
            repository(3, R"(,"pushed_at":null)") + "," + repository(4, "") + "]");
  const auto found = run(client->repositories(GithubRepositorySort::pushed, 1));
  ASSERT_THAT(found, SizeIs(4));
  EXPECT_EQ(found[0],
            (GithubRepositoryPayload{.id = 1, .name = "r", .fullName = "o/r", .isPrivate = true, .pushedAt = kNoon}));
  EXPECT_EQ(found[1].pushedAt, kNoon);
  EXPECT_EQ(found[2].pushedAt, std::nullopt);
  EXPECT_EQ(found[3].pushedAt, std::nullopt);
}

TEST_F(GithubClientTest, aPageOfASearchSurvivesWhatCannotBeRead) {
  const std::string whole(kPull);
  const std::string sparse = replaced(replaced(whole, R"({"login":"ann"})", "null"), R"({"state":"ERROR"})", "null");
  const std::string later = replaced(replaced(whole, "APPROVED", "DISMISSED"), "ERROR", "STALE");
  serve(200, {},
        fmt::format(R"({{"data":{{"search":{{"pageInfo":{{"hasNextPage":true,"endCursor":"c"}},)"
                    R"("nodes":[{},{{}},{},null,{},{}]}}}},"errors":[{{"message":"partly"}}]}})",
                    whole, sparse, later, replaced(whole, "\"number\":7", "\"number\":\"7\"")));
  const GithubSearchPage page = run(client->pullRequests("q", std::nullopt));
  const GithubPullRequestPayload expected{.id = "PR_1",
                                          .number = 7,
                                          .title = "Title",
                                          .url = "https://github.com/o/r/pull/7",
                                          .isDraft = true,
                                          .merged = false,
                                          .closed = false,
                                          .repositoryName = "o/r",
                                          .authorLogin = "ann",
                                          .reviewDecision = GithubReviewDecision::approved,
                                          .checkState = GithubCheckState::error};
  GithubPullRequestPayload ofDeleted = expected;
  ofDeleted.authorLogin.reset();
  ofDeleted.checkState.reset();
  GithubPullRequestPayload unknown = expected;
  unknown.reviewDecision.reset();
  unknown.checkState.reset();
  EXPECT_THAT(page.pulls, ElementsAre(expected, ofDeleted, unknown));
  EXPECT_EQ(page.skipped, 3U);
  EXPECT_EQ(page.pageInfo, (PageInfo{.hasNextPage = true, .endCursor = "c"}));
}

struct GraphQLCase {
  std::string name;
  std::string body;
  std::string words;
};

class GithubGraphQLTest : public GithubClientTest, public testing::WithParamInterface<GraphQLCase> {};

TEST_P(GithubGraphQLTest, failsWithoutData) {
  serve(200, {}, GetParam().body);
  EXPECT_EQ(wordsOf(client->pullRequests("q", std::nullopt)), GetParam().words);
}

INSTANTIATE_TEST_SUITE_P(
    , GithubGraphQLTest,
    testing::Values(GraphQLCase{"nothing", "{}", "Empty GraphQL response."},
                    GraphQLCase{"nulls", R"({"data":null,"errors":null})", "Empty GraphQL response."},
                    GraphQLCase{"noWords", R"({"errors":[{"type":"X"},5]})", "Empty GraphQL response."},
                    GraphQLCase{"errors", R"({"data":null,"errors":[{"message":"one\ntwo"},{"message":"three"}]})",
                                "one two; three"},
                    GraphQLCase{"token", fmt::format(R"({{"errors":[{{"message":"bad {}"}}]}})", kToken),
                                "bad [token]"},
                    GraphQLCase{"noSearch", R"({"data":{"search":null},"errors":[{"message":"late"}]})", "late"},
                    GraphQLCase{"otherData", R"({"data":{"search":5}})",
                                R"(Couldn't decode Github response: {"data":{"search":5}})"}),
    [](const auto& info) { return info.param.name; });

TEST_F(GithubClientTest, aReferenceIsGoneOnlyWhereGithubSaysSo) {
  std::vector<GithubPullReference> references;
  for (int i = 0; i < 7; ++i) references.push_back({.repositoryName = "o/r", .number = i});
  const std::string data =
      fmt::format(R"({{"a0":{{"pullRequest":{}}},"a1":{{"pullRequest":null}},"a2":null,"a3":null,"a4":null,)"
                  R"("a5":{{"pullRequest":{{}}}}}})",
                  kPull);
  serve(200, {},
        fmt::format(R"({{"data":{},"errors":[{{"type":"NOT_FOUND","path":["a2"],"message":"no"}},)"
                    R"({{"type":"FORBIDDEN","path":["a3"]}},{{"type":"NOT_FOUND","path":["a4"]}},{{"path":["a4"]}}]}})",
                    data));
  const GithubReferencedPulls found = run(client->pullRequests(references));
  EXPECT_THAT(found.pulls, SizeIs(1));
  EXPECT_THAT(found.vanished, ElementsAre(references[1], references[2]));

  serve(200, {}, fmt::format(R"({{"data":{},"errors":[{{"message":"took too long"}}]}})", data));
  EXPECT_THAT(run(client->pullRequests(references)).vanished, IsEmpty()) << "what is null may only be late";

  EXPECT_THAT(run(client->pullRequests(std::vector<GithubPullReference>())).pulls, IsEmpty());
  EXPECT_EQ(requests(), 1U);
  EXPECT_THROW(run(client->pullRequests(std::vector<GithubPullReference>(51))), std::invalid_argument);
}

/// `count` files from `first` on.
std::string files(int first, int count) {
  std::string list = "[";
  for (int i = first; i < first + count; ++i) {
    list += fmt::format(R"({}{{"filename":"f{}","status":"added","additions":1,"deletions":0,"patch":"@@ +1 @@"}})",
                        i == first ? "" : ",", i);
  }
  return list + "]";
}

TEST_F(GithubClientTest, aPullRequestHasItsTextAndTheFilesOfAllPages) {
  serve([&](const Request& request, Connection& to) {
    const std::string& target = request.target;
    if (target == "/repos/o/r%20%2F/pulls/7") return to.respond(200, {}, R"({"body":"Text","other":1})");
    ASSERT_THAT(target, StartsWith("/repos/o/r%20%2F/pulls/7/files?per_page=100"));
    const int page = target.back() == '2' ? 2 : target.back() == '3' ? 3 : 1;
    const std::string link = fmt::format(
        R"(<{0}/x?a=1,2>; rel="prev", </repos/o/r%20%2F/pulls/7/files?per_page=100&page={1}>; t="2, <b>"; rel="next")",
        server->url(), page + 1);
    to.respond(200, {{"link", page == 3 ? R"(</first>; rel="first")" : link}}, files(page * 100, page == 3 ? 50 : 100));
  });
  const GithubPullDetail detail = run(client->pullRequestDetail("o", "r /", 7));
  EXPECT_EQ(detail.body, "Text");
  ASSERT_THAT(detail.files, SizeIs(250));
  EXPECT_EQ(detail.files.back(), (GithubPullFilePayload{.filename = "f349",
                                                        .previousFilename = std::nullopt,
                                                        .status = "added",
                                                        .additions = 1,
                                                        .deletions = 0,
                                                        .patch = "@@ +1 @@"}));
  EXPECT_EQ(requests(), 4U);
  EXPECT_EQ(wordsOf(client->pullRequestDetail("..", "user", 7)), "Invalid Github API URL.");

  EXPECT_EQ(github::parsePullFiles(github::pullFilesText(detail.files)), detail.files);
}

TEST_F(GithubClientTest, aListOfFilesEndsWhereItsLinksDoNot) {
  std::atomic<int> pages = 0;
  std::atomic<bool> isCircle = true;
  serve([&](const Request& request, Connection& to) {
    if (!request.target.contains("files")) return to.respond(200, {}, "{}");
    const int next = isCircle ? 1 : ++pages;
    to.respond(200, {{"Link", fmt::format(R"(<{}/files?page={}>; rel="next")", server->url(), next)}}, files(0, 1));
  });
  EXPECT_THAT(run(client->pullRequestDetail("o", "r", 1)).files, SizeIs(2));
  isCircle = false;
  EXPECT_THAT(run(client->pullRequestDetail("o", "r", 1)).files, SizeIs(30));
}

TEST_F(GithubClientTest, allPagesOfFilesTogetherHaveALimit) {
  std::atomic<int> pages = 0;
  const std::string page = std::string(45 * 1024 * 1024, ' ') + "[]";
  serve([&](const Request& request, Connection& to) {
    if (!request.target.contains("files")) return to.respond(200, {}, "{}");
    to.respond(200, {{"Link", fmt::format(R"(</files?page={}>; rel="next")", ++pages)}}, page);
  });
  EXPECT_EQ(wordsOf(client->pullRequestDetail("o", "r", 1)), "Network error: The response has more than 128 MB.");
  EXPECT_EQ(pages, 3);
}

TEST_F(GithubClientTest, nothingIsSentToAnotherHostOrWithTheTokenInItsAddress) {
  const HttpServer other([](const Request&, Connection& to) { to.respond(200, {}, "[]"); });
  std::string header = "Link";
  std::string target;
  serve([&](const Request& request, Connection& to) {
    if (header == "Link" && !request.target.contains("files")) return to.respond(200, {}, "{}");
    header == "Link" ? to.respond(200, {{header, fmt::format(R"(<{}>; rel="next")", target)}}, "[]")
                     : to.respond(308, {{header, target}});
  });
  const std::string own = server->url();
  const std::string ownAtHost = own.substr(std::string("http://").size());
  for (const char* field : {"Link", "Location"}) {
    header = field;
    for (const std::string& elsewhere :
         {other.url() + "/x", "//" + other.url().substr(5), "https://" + ownAtHost,
          replaced(own, "127.0.0.1", "127.0.0.2"), "http://user:secret@" + ownAtHost,
          "http://" + ownAtHost + "@" + other.url().substr(7), std::string("file:///etc/passwd"),
          fmt::format("http://{}.example/{}?{}", kToken, kToken, kToken), fmt::format("/x/{}", kToken)}) {
      target = elsewhere;
      const auto words = wordsOf(client->pullRequestDetail("o", "r", 1));
      EXPECT_THAT(words, AllOf(StartsWith("Network error: Github points to "), HasSubstr("Nothing was sent there."),
                               Not(HasSubstr("secret")), Not(HasSubstr(kToken)), Not(HasSubstr("hushhush"))))
          << elsewhere;
    }
  }
  for (const Request& request : server->requests()) EXPECT_THAT(request.target, Not(HasSubstr(kToken)));
  EXPECT_THAT(other.requests(), IsEmpty());
  EXPECT_EQ(other.connections(), 0U);
}

TEST_F(GithubClientTest, redirectionsOnTheHostAreFollowed) {
  serve([&](const Request& request, Connection& to) {
    const int hops = request.target.back() - '0';
    if (request.target.starts_with("/graphql")) return to.respond(301, {{"Location", "/user9"}});
    if (request.target == "/user") return to.respond(302, {{"Location", server->url() + "/hop4"}}, "moved");
    if (request.target == "/user/9") return to.respond(200, {}, R"({"login":"octo","id":9})");
    if (hops == 1) return to.respond(301, {{"Location", "user/9"}});
    to.respond(hops % 2 == 0 ? 307 : 308, {{"Location", fmt::format("/hop{}", hops - 1)}});
  });
  EXPECT_EQ(run(client->currentUser()).id, 9);
  EXPECT_THAT(server->requests(), SizeIs(6));
  EXPECT_EQ(server->requests().back().header("Authorization"), fmt::format("Bearer {}", kToken));
  EXPECT_EQ(wordsOf(client->pullRequests("q", std::nullopt)), "Github returned HTTP 301");

  serve([&](const Request& request, Connection& to) {
    request.target == "/graphql"
        ? to.respond(307, {{"Location", "/api/graphql"}})
        : to.respond(200, {}, request.body.empty() ? "" : R"({"errors":[{"message":"came"}]})");
  });
  EXPECT_EQ(wordsOf(client->pullRequests("q", std::nullopt)), "came");

  serve(302, {{"Location", "/user"}}, "");
  EXPECT_THAT(wordsOf(client->currentUser()), HasSubstr("redirected more than 5 times"));
  EXPECT_EQ(requests(), 6U);
}

TEST_F(GithubClientTest, aTypedHostGetsNothingInClearText) {
  connection.session.connectLimit = 500ms;
  serve(200, {}, R"({"login":"octo","id":1})");
  const std::string host = fmt::format("127.0.0.1:{}", server->port());
  EXPECT_THAT(wordsOf(GithubClient::validateCredentials(host, "octo", std::string(kToken), connection)),
              StartsWith("Network error: "));
  EXPECT_EQ(requests(), 0U);
}

TEST_F(GithubClientTest, closingEndsWhatRunsAndWhatWaits) {
  using namespace asio::experimental::awaitable_operators;
  Gate arrived;
  serve([&](const Request&, Connection& to) {
    arrived.open();
    to.awaitClose();
  });
  std::vector<std::string> words;
  const auto ask = [&]() -> awaitable<void> {
    try {
      co_await client->currentUser();
    } catch (const GithubClientError& error) {
      words.emplace_back(error.what());
    }
  };
  const auto close = [&]() -> awaitable<void> {
    arrived.wait();
    co_await client->close();
  };
  run(ask() && ask() && close());
  run(ask());
  EXPECT_THAT(words, ElementsAre("Network error: cancelled", "Network error: cancelled", "Network error: cancelled"));
  EXPECT_EQ(requests(), 1U);
}

}  // namespace
}  // namespace ravant::test
