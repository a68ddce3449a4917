#include <fmt/chrono.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>

#include "platform/files/private_file.hpp"
#include "tests/integrations/github/simulated_github.hpp"
#include "tests/journeys/sandbox.hpp"

namespace ravant::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

using Request = HttpServer::Request;
using Connection = HttpServer::Connection;

const std::string kToken(SimulatedGithub::kToken);

class GithubCommands : public testing::Test {
 protected:
  GithubCommands() {
    sandbox.setVariable("RAVANT_GITHUB_URL", github.url());
    sandbox.keepKeysInFile();
  }

  ProgramResult connect() {
    const ProgramResult result =
        sandbox.run({"github", "add", "github.com", "octocat", "--token-stdin"}, kToken + "\r\n");
    EXPECT_EQ(result.status, 0) << result.errors;
    return result;
  }

  /// Puts a program `gh` into the search path of the login shell.
  void installGh(std::string_view body) const {
    const std::filesystem::path folder = sandbox.home() / "tools";
    std::filesystem::create_directory(folder);
    std::ofstream(folder / "gh") << "#!/bin/sh\n" << body;
    std::filesystem::permissions(folder / "gh", std::filesystem::perms::owner_all);
    std::ofstream(sandbox.home() / ".bash_profile") << "PATH=$HOME/tools:$PATH\n";
  }

  /// No file of the data folder but that of the keys has the text.
  void expectNowhereStored(std::string_view text) const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(sandbox.data())) {
      if (!entry.is_regular_file() || entry.path().filename() == "keys.json") continue;
      EXPECT_THAT(readFile(entry.path()).value(), Not(HasSubstr(std::string(text)))) << entry.path();
    }
  }

  Gate arrived;
  Gate never;
  SimulatedGithub github;
  Sandbox sandbox;
};

void expectOneLine(const ProgramResult& result) {
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors, AllOf(StartsWith("ravant: "), EndsWith("\n"), Not(HasSubstr("\x1b"))));
  EXPECT_EQ(std::ranges::count(result.errors, '\n'), 1) << result.errors;
  EXPECT_LT(result.errors.size(), 2'000u);
}

TEST_F(GithubCommands, followAPullRequestFromTheSearchToItsMerge) {
  const std::int64_t number = github.addPull({.repository = "octo/tools",
                                              .title = "Sharper \x1b[31mtools",
                                              .author = "octocat",
                                              .reviewDecision = "CHANGES_REQUESTED",
                                              .checkState = "FAILURE"});
  github.addPull({.repository = "octo/tools", .title = "Another one", .author = "octocat", .isDraft = true});
  EXPECT_EQ(connect().output,
            fmt::format("Added octocat@github.com\nThe access token is stored in {}/keys.json, which only you may read "
                        "and which is not encrypted.\n",
                        sandbox.data().string()));

  const std::size_t asked = github.requests().size();
  const ProgramResult unsynced = sandbox.run({"github", "pulls", "octocat"});
  EXPECT_EQ(unsynced.output, "");
  EXPECT_EQ(unsynced.errors, "This search was not synced yet: add --sync.\n");
  EXPECT_EQ(github.requests().size(), asked);

  const ProgramResult synced = sandbox.run({"github", "pulls", "octocat", "--draft", "hideDrafts", "--sync"});
  EXPECT_EQ(synced.output,
            "PULL REQUEST  TITLE               STATE  REVIEW             CHECKS   AUTHOR\n"
            "octo/tools#1  Sharper ␛[31mtools  open   changes requested  failure  octocat\n");
  EXPECT_THAT(synced.errors, AllOf(StartsWith("Synced 0 s ago: 1 found by the search, for "), EndsWith("an hour.\n")));

  const json::value listed = sandbox.json({"github", "pulls", "octocat@github.com", "--sync"});
  ASSERT_THAT(listed.as_array(), SizeIs(2));
  json::object first = listed.at(1).as_object();
  EXPECT_TRUE(first.erase("id") && first.erase("integration") && first.erase("syncedAt"));
  EXPECT_EQ(json::value(first),
            parseJson(R"({"number":1,"title":"Sharper \u001b[31mtools","url":"https://github.com/octo/tools/pull/1",
                          "isDraft":false,"merged":false,"closed":false,"repositoryName":"octo/tools",
                          "authorUsername":"octocat","authorUsernameFolded":"octocat",
                          "reviewDecisionRaw":"CHANGES_REQUESTED","checkStateRaw":"FAILURE","involvesMe":true})"));

  github.change("octo/tools", number, [](SimulatedPull& pull) { pull.merged = pull.closed = true; });
  EXPECT_THAT(sandbox.json({"github", "pulls", "octocat", "--sync"}).as_array(), SizeIs(1));
  EXPECT_EQ(sandbox.json({"github", "pulls", "octocat", "--state", "merged"}).at(0).at("number"), number);
}

TEST_F(GithubCommands, tellScriptsWhatAListLacks) {
  connect();
  for (int i = 0; i <= 1000; ++i) github.addPull({.repository = "octo/tools"});
  std::vector<std::string> command = {"github", "pulls", "octocat", "--repo", "octo/tools", "--json", "--sync"};
  const std::string words =
      "ravant: the list can lack pull requests of the search, which has more than GitHub hands out\n";
  EXPECT_EQ(sandbox.run(command).errors, words);
  command.pop_back();
  EXPECT_EQ(sandbox.run(command).errors, words);

  github.intercept([](const Request& request, Connection& connection) {
    if (!request.target.contains("/user/repos")) return false;
    connection.respond(200, {}, R"([{"id":1,"name":"tools","full_name":"octo/tools","private":false}])");
    return true;
  });
  EXPECT_EQ(sandbox.run({"github", "repos", "octocat", "--sync", "--json"}).errors,
            "ravant: the list can lack repositories: the account reaches more than the 3,000 that are read\n");
}

TEST_F(GithubCommands, showAPullRequestWithNumberedLines) {
  connect();
  github.addPull({.repository = "octo/tools",
                  .body = "First\r\n\x1b]0;title\x07second",
                  .files = {{.filename = "src/new.txt",
                             .previousFilename = "old.txt",
                             .status = "renamed",
                             .additions = 1,
                             .deletions = 1,
                             .patch = "@@ -9,2 +9,2 @@   main\n same\n-gone\n+come\n\\ No newline at end of file"},
                            {.filename = "a.png", .status = "added", .additions = 0, .deletions = 0}}});
  const std::vector<std::string> command = {"github", "pull", "octocat", "octo/tools", "1"};
  const ProgramResult shown = sandbox.run(command);
  EXPECT_EQ(shown.output,
            "octo/tools#1\n\nFirst\n␛]0;title␇second\n\n"
            "old.txt -> src/new.txt  renamed  (+1 -1)\n@@ -9,2 +9,2 @@   main\n"
            " 9  9  same\n10    -gone\n   10 +come\n\n"
            "a.png  added  (+0 -0)  binary or too large to be shown\n");
  EXPECT_THAT(shown.errors, StartsWith("Fetched "));

  const std::size_t asked = github.requests().size();
  json::object form = sandbox.json(command).as_object();
  EXPECT_EQ(github.requests().size(), asked);
  EXPECT_TRUE(form.erase("fetchedAt"));
  EXPECT_EQ(json::value(form), parseJson(R"({"bodyText":"First\r\n\u001b]0;title\u0007second","files":[
              {"filename":"src/new.txt","previousFilename":"old.txt","status":"renamed","isBinary":false,
               "additions":1,"deletions":1,"hunks":[{"header":"@@ -9,2 +9,2 @@   main","lines":[
                 {"index":0,"kind":"context","oldNumber":9,"newNumber":9,"text":"same"},
                 {"index":1,"kind":"removed","oldNumber":10,"text":"gone"},
                 {"index":2,"kind":"added","newNumber":10,"text":"come"}]}]},
              {"filename":"a.png","status":"added","isBinary":true,"additions":0,"deletions":0,"hunks":[]}]})"));
  sandbox.run({"github", "pull", "octocat", "octo/tools", "1", "--sync"});
  EXPECT_GT(github.requests().size(), asked);
  expectOneLine(sandbox.run({"github", "pull", "octocat", "octo/tools", "99"}));
}

TEST_F(GithubCommands, offerTheAccountsOfGh) {
  installGh(
      fmt::format("[ \"$*\" = 'auth status --json hosts -t' ] || exit 9\n"
                  "echo '{{\"hosts\":{{\"github.com\":[{{\"host\":\"github.com\",\"login\":\"octocat\",\"active\":true,"
                  "\"token\":\"{}\",\"state\":\"success\"}},{{\"host\":\"github.com\",\"login\":\"hubot\","
                  "\"active\":false}}]}}}}'\n",
                  kToken));
  EXPECT_EQ(sandbox.run({"github", "accounts"}).output,
            "ACCOUNT             IN GH   IN RAVANT\noctocat@github.com  active\nhubot@github.com\n");
  EXPECT_EQ(
      sandbox.run({"github", "add", "github.com", "nobody"}).errors,
      "ravant: gh is not logged in to nobody@github.com, but to octocat@github.com, hubot@github.com; log in with "
      "\"gh auth login\", or give a token of your own with --token-stdin\n");
  expectOneLine(sandbox.run({"github", "add", "github.com", "hubot"}));
  EXPECT_EQ(sandbox.run({"github", "add", "GitHub.com", "Octocat"}).status, 0);
  EXPECT_EQ(sandbox.json({"github", "accounts"}),
            parseJson(R"([{"host":"github.com","username":"octocat","isActive":true,"isAdded":true},
                          {"host":"github.com","username":"hubot","isActive":false,"isAdded":false}])"));
  expectNowhereStored(kToken);

  installGh(fmt::format("echo 'unknown flag: --json' >&2; echo 'token {}' >&2; exit 1\n", kToken));
  const ProgramResult tooOld = sandbox.run({"github", "accounts", "--verbose"});
  EXPECT_EQ(tooOld.status, 1);
  EXPECT_THAT(tooOld.errors, AllOf(HasSubstr("older than 2.81"), Not(HasSubstr(kToken))));
  installGh("exec /no/such/program\n");
  expectOneLine(sandbox.run({"github", "accounts"}));
}

TEST_F(GithubCommands, sayWhatIsWrong) {
  const auto errorsOf = [&](std::vector<std::string> words, const std::string& input = {}) {
    const ProgramResult result = sandbox.run(std::move(words), input);
    EXPECT_EQ(result.output, "");
    return fmt::format("{} {}", result.status, result.errors);
  };
  EXPECT_EQ(errorsOf({"github", "query", "--state", "reopened"}),
            "2 ravant: --state takes one of open, merged, closed, not \"reopened\"\n");
  EXPECT_EQ(errorsOf({"github", "pulls", "octocat"}),
            "1 ravant: there is no account \"octocat\", and no other one either\n");
  for (const char* host : {"https://github.com", "github.com/octo", "a b", "user@github.com", ""}) {
    EXPECT_EQ(errorsOf({"github", "add", host, "octocat", "--token-stdin"}, kToken),
              "1 ravant: Invalid Github API URL.\n")
        << host;
  }
  EXPECT_THAT(errorsOf({"github", "add", "github.com", "octocat", "--token-stdin"}, "\n"), StartsWith("1 ravant: "));
  EXPECT_THAT(github.requests(), IsEmpty());
  EXPECT_EQ(errorsOf({"github", "add", "github.com", "hubot", "--token-stdin"}, kToken),
            "1 ravant: Token belongs to octocat, not hubot.\n");
  EXPECT_EQ(errorsOf({"github", "add", "github.com", "octocat", "--token-stdin"}, "ghp_wrong"),
            "1 ravant: Github rejected the token (401). Check that the token is correct and not expired.\n");
  EXPECT_EQ(sandbox.run({"github", "list"}).output, "");

  connect();
  github.addUser("hubot", "ghp_of_hubot");
  EXPECT_EQ(sandbox.run({"github", "add", "github.com", "hubot", "--token-stdin"}, "ghp_of_hubot").status, 0);
  EXPECT_EQ(errorsOf({"github", "repos", "oct"}),
            "1 ravant: there is no account \"oct\"; there is octocat@github.com, hubot@github.com\n");
  EXPECT_EQ(errorsOf({"github", "remove", "octocat"}), "2 ravant: nobody can be asked here: give --yes to agree\n");
}

TEST_F(GithubCommands, withoutAKeyStoreTheWayOutIsNamed) {
  sandbox.run({"settings", "reset", "keyStore"});
  const ProgramResult result = sandbox.run({"github", "add", "github.com", "octocat", "--token-stdin"}, kToken);
  expectOneLine(result);
  EXPECT_THAT(result.errors, AllOf(StartsWith("ravant: Couldn't store the access token in the keychain: "),
                                   HasSubstr("run: ravant settings set keyStore file")));
  EXPECT_EQ(sandbox.run({"github", "list"}).output, "");

  sandbox.run({"settings", "set", "keyStore", "file"});
  connect();
  sandbox.run({"settings", "reset", "keyStore"});
  const ProgramResult removed = sandbox.run({"github", "remove", "octocat", "--yes"});
  expectOneLine(removed);
  EXPECT_THAT(removed.errors,
              AllOf(StartsWith("ravant: The account is forgotten, but its token is still in the keychain: "),
                    EndsWith("; add it again and remove it, or delete the entry com.ravant.integrations.github of "
                             "octocat@github.com in your key store\n")));
  EXPECT_EQ(sandbox.run({"github", "list"}).output, "");
}

TEST_F(GithubCommands, showTheSearchTextAndSendNothing) {
  EXPECT_EQ(sandbox.run({"github", "query"}).output, "is:pr sort:updated-desc state:open involves:@me\n");
  EXPECT_EQ(sandbox
                .run({"github", "query", "--repo", "b/b", "--repo", "a/a", "--state", "closed", "--involvement",
                      "reviewRequested", "--review", "notReviewed", "--checks", "failing", "--draft", "draftsOnly"})
                .output,
            "is:pr sort:updated-desc is:closed is:unmerged repo:a/a repo:b/b review-requested:@me review:none "
            "status:failure draft:true\n");
  EXPECT_THAT(github.requests(), IsEmpty());
}

/// Servers that fail in some way while they repeat what they were sent.
TEST_F(GithubCommands, keepTheTokenToThemselvesWhateverAServerSays) {
  connect();
  github.addPull({.repository = "octo/tools", .author = "octocat"});
  sandbox.run({"github", "pulls", "octocat", "--sync"});
  int turn = 0;
  github.intercept([&turn](const Request& request, Connection& connection) {
    const std::string heard = request.header("Authorization").value_or("");
    switch (turn) {
      case 0:
        connection.respond(500, {}, fmt::format("{}\n\x1b[2J second line {}", heard, std::string(300'000, 'x')));
        break;
      case 1:
        connection.respond(401, {{"X-Said", heard}}, heard);
        break;
      case 2:
        connection.respond(200, {}, fmt::format("not JSON\n{}", heard));
        break;
      default:
        connection.respond(
            200, {},
            compactJson(
                {{"errors", {{{"message", fmt::format("no\n\x1b[1m {} {}", heard, std::string(300'000, 'y'))}}}},
                 {"message", heard}}));
    }
    return true;
  });
  // What a server says goes the same way whatever was asked: each command in one form, each turn in all.
  const std::vector<std::vector<std::string>> commands = {{"github", "pulls", "octocat", "--sync"},
                                                          {"github", "repos", "octocat", "--sync"},
                                                          {"github", "pull", "octocat", "octo/tools", "1"}};
  const std::vector<std::vector<std::string>> forms = {{}, {"--json"}, {"--verbose"}};
  for (; turn < 4; ++turn) {
    for (std::size_t form = 0; form < forms.size(); ++form) {
      std::vector<std::string> command = commands[(form + static_cast<std::size_t>(turn)) % commands.size()];
      std::ranges::copy(forms[form], std::back_inserter(command));
      const ProgramResult result = sandbox.run(command);
      EXPECT_THAT(result.output + result.errors, Not(HasSubstr(kToken))) << turn << ' ' << form;
      if (command.back() != "--verbose") expectOneLine(result);
    }
  }
  const ProgramResult listed = sandbox.run({"github", "list", "--json", "--verbose"});
  EXPECT_THAT(listed.output + listed.errors, Not(HasSubstr(kToken)));
  expectNowhereStored(kToken);
  EXPECT_EQ(std::filesystem::status(sandbox.data() / "keys.json").permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  EXPECT_THAT(sandbox.json({"github", "pulls", "octocat"}).as_array(), SizeIs(1));
}

TEST_F(GithubCommands, sendTheTokenToNoOtherServer) {
  connect();
  const HttpServer other([](const Request&, Connection& connection) { connection.respond(200, {}, "[]"); });
  const auto pointTo = [&](std::string_view address) {
    github.intercept([address = std::string(address)](const Request& request, Connection& connection) {
      if (request.target.contains("/files")) {
        connection.respond(200, {{"Link", fmt::format("<{}/more>; rel=\"next\"", address)}}, "[]");
      } else if (request.target.contains("/pulls/1")) {
        connection.respond(200, {}, R"({"body":"text"})");
      } else {
        connection.respond(301, {{"Location", address + request.target}});
      }
      return true;
    });
  };
  const std::string otherName = fmt::format("http://localhost:{}", other.port());
  for (const std::string& address : {other.url(), otherName}) {
    pointTo(address);
    expectOneLine(sandbox.run({"github", "pull", "octocat", "octo/tools", "1", "--sync"}));
    expectOneLine(sandbox.run({"github", "repos", "octocat", "--sync"}));
    expectOneLine(sandbox.run({"github", "pulls", "octocat", "--sync"}));
  }
  EXPECT_EQ(other.connections(), 0u);
  // A host that is typed is never asked in clear text.
  expectOneLine(
      sandbox.run({"github", "add", fmt::format("127.0.0.1:{}", other.port()), "octocat", "--token-stdin"}, kToken));
  EXPECT_THAT(other.requests(), IsEmpty());
}

TEST_F(GithubCommands, followARenamedRepository) {
  connect();
  github.addPull({.repository = "octo/tools", .body = "Still here"});
  github.renameRepository("octo/tools", "octo/kit");
  EXPECT_EQ(sandbox.json({"github", "pull", "octocat", "octo/tools", "1"}).at("bodyText"), "Still here");
}

TEST_F(GithubCommands, putAPullRequestIntoAProjectsFolder) {
  connect();
  const std::string remote = sandbox.home() / "remote.git";
  const ProgramResult made =
      Program({.path = "/bin/sh",
               .arguments = {"-ec",
                             "git config --global user.name Tester; git config --global user.email t@example.com; "
                             "git config --global url.\"$1\".insteadOf https://github.com/octo/tools\n"
                             "git init -q --bare \"$1\"; git init -q -b main; echo one > a.txt; git add -A; "
                             "git commit -qm first; git remote add origin https://github.com/octo/tools; "
                             "echo two > a.txt; git commit -qam second; git push -q origin HEAD:refs/pull/7/head; "
                             "git reset -q --hard HEAD~",
                             "sh", remote},
               .environment = {{"HOME", sandbox.home()}, {"PATH", "/usr/bin:/bin"}},
               .workingDirectory = sandbox.project()})
          .wait();
  ASSERT_EQ(made.status, 0) << made.errors;
  const std::vector<std::string> command = {"github", "checkout", "octocat", "octo/tools", "7"};
  EXPECT_EQ(sandbox.run(command).errors,
            "ravant: no project holds the current folder; name one with --project, or add it: ravant project add .\n");
  sandbox.run({"project", "add", "."});
  std::ofstream(sandbox.project() / "a.txt") << "mine\n";
  expectOneLine(sandbox.run(command));
  EXPECT_EQ(readFile(sandbox.project() / "a.txt"), "mine\n");
  std::ofstream(sandbox.project() / "a.txt") << "one\n";
  EXPECT_THAT(sandbox.run(command).output, EndsWith("/project is on pull/7, fetched from origin\n"));
  EXPECT_EQ(readFile(sandbox.project() / "a.txt"), "two\n");
  EXPECT_EQ(sandbox.json(command).at("branch"), "pull/7");
}

TEST_F(GithubCommands, endAtOnceWhereTheUserInterruptsASlowServer) {
  connect();
  github.addPull({.repository = "octo/tools", .author = "octocat"});
  github.intercept([&](const Request& request, Connection& connection) {
    if (!request.target.contains("graphql")) return false;
    arrived.open();
    connection.wait(never);
    return true;
  });
  Program program = sandbox.start({"github", "pulls", "octocat", "--sync"});
  arrived.wait();
  const auto began = std::chrono::steady_clock::now();
  program.signal(SIGINT);
  EXPECT_EQ(program.wait().status, 130);
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
  github.intercept([](const Request&, Connection&) { return false; });
  EXPECT_THAT(sandbox.json({"github", "pulls", "octocat", "--sync"}).as_array(), SizeIs(1));
}

TEST_F(GithubCommands, askNothingBeforeAPauseIsOver) {
  sandbox.setVariable("TZ", "UTC0");
  connect();
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  github.setRemaining("graphql", 0, now + std::chrono::hours(1));
  const ProgramResult refused = sandbox.run({"github", "pulls", "octocat", "--sync"});
  expectOneLine(refused);
  const std::size_t asked = github.requests().size();
  github.setRemaining("graphql", 5000, now);
  const ProgramResult later = sandbox.run({"github", "pulls", "octocat", "--involvement", "authored", "--sync"});
  expectOneLine(later);
  EXPECT_THAT(later.errors, HasSubstr(fmt::format("after {:%H:%M} (in ", std::chrono::ceil<std::chrono::minutes>(
                                                                             now + std::chrono::hours(1)))));
  EXPECT_EQ(github.requests().size(), asked);
  EXPECT_EQ(sandbox.run({"github", "repos", "octocat", "--sync"}).status, 0);
}

/// Only what asks the server needs its address.
TEST_F(GithubCommands, readTheStoreWhateverTheAddressIs) {
  connect();
  sandbox.run({"pin", "add", "github", "octocat", "--title", "Mine"});
  sandbox.setVariable("RAVANT_GITHUB_URL", "ftp://nowhere");
  EXPECT_THAT(sandbox.run({"github", "pulls", "octocat", "--sync"}).errors, HasSubstr("RAVANT_GITHUB_URL"));
  for (const std::vector<std::string>& command : {std::vector<std::string>{"github", "list"},
                                                  {"github", "repos", "octocat"},
                                                  {"github", "pulls", "octocat"},
                                                  {"pin", "list"},
                                                  {"pin", "show", "Mine"},
                                                  {"github", "remove", "octocat", "--yes"}}) {
    EXPECT_EQ(sandbox.run(command).status, 0) << command.at(1);
  }
}

TEST_F(GithubCommands, forgetAnAccountWithAllThatIsOfIt) {
  connect();
  github.addPull({.repository = "octo/tools", .author = "octocat"});
  sandbox.run({"github", "pulls", "octocat", "--sync"});
  sandbox.run({"github", "repos", "octocat", "--sync"});
  EXPECT_EQ(sandbox.json({"github", "repos", "octocat"}).at(0).at("fullName"), "octo/tools");
  sandbox.run({"pin", "add", "github", "octocat"});
  EXPECT_EQ(sandbox.run({"github", "remove", "octocat", "--yes"}).output, "Removed octocat@github.com\n");
  EXPECT_EQ(sandbox.json({"github", "list"}), parseJson("[]"));
  EXPECT_EQ(sandbox.json({"pin", "list"}), parseJson("[]"));
  EXPECT_THAT(readFile(sandbox.data() / "keys.json").value(), Not(HasSubstr(kToken)));
}

}  // namespace
}  // namespace ravant::test
