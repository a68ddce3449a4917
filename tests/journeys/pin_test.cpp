#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integrations/github/simulated_github.hpp"
#include "tests/integrations/linear/simulated_linear.hpp"
#include "tests/journeys/sandbox.hpp"

namespace ravant::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;

class PinCommands : public testing::Test {
 protected:
  PinCommands() {
    sandbox.setVariable("RAVANT_GITHUB_URL", github.url());
    sandbox.setVariable("RAVANT_LINEAR_URL", linear.url());
    sandbox.keepKeysInFile();
    expectDone(
        sandbox.run({"github", "add", "github.com", "octocat", "--token-stdin"}, std::string(SimulatedGithub::kToken)));
    linear.change([](LinearWorkspace& workspace) {
      workspace.teams = {linearTeam("ENG", "Engineering"), linearTeam("OPS", "Operations")};
      workspace.issues = {linearIssue(1, {{"priority", 4}}), linearIssue(2, {{"priority", 1}}),
                          linearIssue(3, {{"team", {{"key", "OPS"}, {"name", "Operations"}}}})};
    });
    expectDone(sandbox.run({"linear", "add", "--key-stdin"}, std::string(SimulatedLinear::kKey)));
  }

  static void expectDone(const ProgramResult& result) { EXPECT_EQ(result.status, 0) << result.errors; }
  std::vector<std::string> titles() const {
    std::vector<std::string> found;
    for (const json::value& pin : sandbox.json({"pin", "list"}).as_array()) {
      const auto* title = pin.as_object().if_contains("customTitle");
      found.emplace_back(title ? title->as_string() : "");
    }
    return found;
  }

  SimulatedGithub github;
  SimulatedLinear linear;
  Sandbox sandbox;
};

TEST_F(PinCommands, keepAViewOfPullRequests) {
  github.addPull({.repository = "octo/tools", .title = "Mine", .author = "octocat"});
  github.addPull({.repository = "octo/tools", .title = "Draft", .author = "octocat", .isDraft = true});
  const std::string account(sandbox.json({"github", "list"}).at(0).at("id").as_string());
  json::object pin =
      sandbox
          .json({"pin", "add", "github", "octocat", "--repo", "octo/tools", "--draft", "hideDrafts", "--title", "Ours"})
          .as_object();
  EXPECT_TRUE(pin.erase("id") && pin.erase("createdAt") && pin.erase("sidebarOrder"));
  EXPECT_EQ(json::value(pin), json::value({{"customTitle", "Ours"},
                                           {"kind", "githubPullRequests"},
                                           {"integration", account},
                                           {"repositoryFullNames", json::array{"octo/tools"}},
                                           {"involvement", "anyone"},
                                           {"state", "open"},
                                           {"review", "any"},
                                           {"checks", "any"},
                                           {"draft", "hideDrafts"}}));
  const ProgramResult shown = sandbox.run({"pin", "show", "Ours", "--sync"});
  EXPECT_THAT(shown.output, AllOf(StartsWith("Ours\nPULL REQUEST"), HasSubstr("octo/tools#1  Mine")));
  EXPECT_THAT(shown.errors, StartsWith("Synced "));
  EXPECT_EQ(sandbox.run({"pin", "show", "Ours", "--json"}).errors, "");
  const json::value form = sandbox.json({"pin", "show", "Ours"});
  EXPECT_EQ(form.at("pin").at("customTitle"), "Ours");
  ASSERT_THAT(form.at("items").as_array(), SizeIs(1));
  EXPECT_EQ(form.at("items").at(0).at("title"), "Mine");
}

TEST_F(PinCommands, keepAViewOfIssuesInItsOrder) {
  expectDone(sandbox.run({"pin", "add", "linear", "acme", "--team", "eng", "--sort", "priority"}));
  const json::value pin = sandbox.json({"pin", "list"}).at(0);
  EXPECT_EQ(pin.at("teamKey"), "ENG");
  EXPECT_EQ(pin.at("teamName"), "Engineering");
  EXPECT_EQ(pin.at("sortOrderString"), "priority");
  const std::string id(pin.at("id").as_string());
  EXPECT_EQ(sandbox.run({"pin", "list"}).output,
            "TITLE        OF    ID        SHOWS\nEngineering  acme  " + id.substr(0, 8) + "\n");
  const json::value items = sandbox.json({"pin", "show", id.substr(0, 6)}).at("items");
  ASSERT_THAT(items.as_array(), SizeIs(2));
  EXPECT_EQ(items.at(0).at("identifier"), "ENG-2");

  linear.change([](LinearWorkspace& workspace) { workspace.issues.push_back(linearIssue(4)); });
  EXPECT_THAT(sandbox.json({"pin", "show", id, "--sync"}).at("items").as_array(), SizeIs(3));
}

TEST_F(PinCommands, areOrderedNamedAndRemoved) {
  for (const char* title : {"one", "two", "three"}) {
    expectDone(sandbox.run({"pin", "add", "github", "octocat", "--title", title}));
  }
  expectDone(sandbox.run({"pin", "reorder", "three", "one"}));
  EXPECT_THAT(titles(), testing::ElementsAre("three", "one", "two"));
  expectDone(sandbox.run({"pin", "remove", "one"}));
  EXPECT_THAT(titles(), testing::ElementsAre("three", "two"));
  EXPECT_THAT(sandbox.run({"pin", "show", "one"}).errors,
              StartsWith("ravant: there is no pinned view \"one\"; there is three ("));
  expectDone(sandbox.run({"pin", "add", "github", "octocat", "--title", "two"}));
  EXPECT_THAT(sandbox.run({"pin", "remove", "two"}).errors, StartsWith("ravant: \"two\" is ambiguous: "));
}

TEST_F(PinCommands, refuseWhatDoesNotFit) {
  const auto outcome = [&](std::vector<std::string> words) {
    const ProgramResult result = sandbox.run(std::move(words));
    return std::to_string(result.status) + " " + result.errors;
  };
  EXPECT_EQ(outcome({"pin", "add", "calendar", "acme"}),
            "2 ravant: SERVICE takes one of github, linear, not \"calendar\"\n");
  EXPECT_EQ(outcome({"pin", "add", "github", "octocat", "--team", "ENG"}),
            "2 ravant: --team is not for views of GitHub\n");
  EXPECT_EQ(outcome({"pin", "add", "linear", "acme", "--state", "open"}),
            "2 ravant: --state is not for views of Linear\n");
  EXPECT_EQ(outcome({"pin", "add", "linear", "acme"}), "2 ravant: a view of Linear needs --team\n");
  EXPECT_EQ(outcome({"pin", "add", "linear", "acme", "--team", "ENGINE"}),
            "1 ravant: there is no team \"ENGINE\"; there is ENG, OPS\n");
  EXPECT_THAT(sandbox.json({"pin", "list"}).as_array(), testing::IsEmpty());
}

}  // namespace
}  // namespace ravant::test
