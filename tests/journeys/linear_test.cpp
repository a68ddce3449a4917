#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

#include "platform/files/private_file.hpp"
#include "tests/integrations/linear/simulated_linear.hpp"
#include "tests/journeys/sandbox.hpp"

namespace ravant::test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

using Query = SimulatedLinear::Query;

const std::string kKey(SimulatedLinear::kKey);

class LinearCommands : public testing::Test {
 protected:
  LinearCommands() {
    sandbox.setVariable("RAVANT_LINEAR_URL", linear.url());
    sandbox.keepKeysInFile();
    linear.change([](LinearWorkspace& workspace) {
      workspace.teams = {linearTeam("ENG", "Engineering")};
      workspace.issues = linearIssues(120);
    });
  }

  ProgramResult connect() { return sandbox.run({"linear", "add", "--key-stdin"}, kKey + "\n"); }
  std::size_t stored() const { return sandbox.json({"linear", "issues", "acme"}).as_array().size(); }

  Gate never;
  SimulatedLinear linear;
  Sandbox sandbox;
};

TEST_F(LinearCommands, connectAWorkspaceAndListItsIssues) {
  const ProgramResult added = connect();
  EXPECT_EQ(added.status, 0) << added.errors;
  EXPECT_EQ(added.output,
            fmt::format("Added acme (Acme, ada@example.com)\nThe API key is stored in {}/keys.json, which only you may "
                        "read and which is not encrypted.\n",
                        sandbox.data().string()));
  EXPECT_EQ(stored(), 120u);
  EXPECT_EQ(sandbox.run({"linear", "teams", "acme"}).output, "KEY  NAME\nENG  Engineering\n");

  linear.change([](LinearWorkspace& workspace) {
    workspace.issues = {
        linearIssue(1, {{"priority", 2}, {"project", {{"name", "Moon"}}}, {"description", "Why\n\x1b[2J"}}),
        linearIssue(2, {{"priority", 1}, {"team", {{"key", "OPS"}, {"name", "Operations"}}}}),
        linearIssue(3, {{"state", {{"name", "Done"}, {"type", "completed"}, {"color", "#000000"}}}})};
  });
  const json::value issues = sandbox.json({"linear", "issues", "acme", "--sync", "--sort", "priority"});
  ASSERT_THAT(issues.as_array(), SizeIs(2));
  EXPECT_EQ(issues.at(0).at("identifier"), "ENG-2");
  json::object second = issues.at(1).as_object();
  EXPECT_TRUE(second.erase("id") && second.erase("integration"));
  EXPECT_EQ(json::value(second), parseJson(R"({"issueID":"issue-1","identifier":"ENG-1","title":"Title 1",
                          "descriptionText":"Why\n\u001b[2J","stateName":"Todo","stateColorHex":"#e2e2e2",
                          "stateTypeRaw":"unstarted","priority":2,"priorityLabel":"Label","teamKey":"ENG",
                          "teamName":"Engineering","projectName":"Moon",
                          "url":"https://linear.app/acme/issue/ENG-1","createdAt":"2026-11-01T00:00:00.000000Z",
                          "updatedAt":"2026-11-01T00:01:00.000000Z"})"));
  EXPECT_THAT(sandbox.run({"linear", "issues", "acme", "--team", "OPS"}).output,
              AllOf(HasSubstr("ENG-2"), Not(HasSubstr("ENG-1"))));
  linear.change([](LinearWorkspace& workspace) {
    workspace.teams.push_back(linearTeam("WEB", "Web"));
    workspace.issues.resize(1);
  });
  const auto remarkOn = [&](std::vector<std::string> words) { return sandbox.run(std::move(words)).errors; };
  EXPECT_EQ(remarkOn({"linear", "issues", "acme", "--team", "WEB", "--sync"}),
            "No unfinished issue of the team WEB is assigned to you.\n");
  EXPECT_EQ(remarkOn({"linear", "issues", "acme", "--team", "WEB"}),
            "No unfinished issue of the team WEB is assigned to you, as far as is known; --sync asks Linear.\n");
  const ProgramResult unknown = sandbox.run({"linear", "issues", "acme", "--team", "XYZ"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.errors, "ravant: there is no team \"XYZ\"; there is ENG, WEB\n");
}

TEST_F(LinearCommands, connectAWorkspaceWhoseIssuesCannotBeRead) {
  linear.answerInstead(Query::assignedIssues, 1, linearAnswer(429, "{}"));
  const ProgramResult added = sandbox.run({"linear", "add", "--key-stdin", "--json"}, kKey);
  EXPECT_EQ(added.status, 0);
  EXPECT_EQ(parseJson(added.output).value().at("workspaceUrlKey"), "acme");
  EXPECT_EQ(added.errors,
            "ravant: its issues could not be read yet: Linear rate limit reached. Try again in a moment. (try again: "
            "ravant linear issues acme --sync)\n");
  EXPECT_EQ(sandbox.json({"linear", "issues", "acme", "--sync"}).as_array().size(), 120u);
}

TEST_F(LinearCommands, sayWhatIsWrong) {
  const auto outcome = [&](std::vector<std::string> words, const std::string& input = {}) {
    const ProgramResult result = sandbox.run(std::move(words), input);
    EXPECT_EQ(result.output, "");
    return fmt::format("{} {}", result.status, result.errors);
  };
  EXPECT_THAT(outcome({"linear", "add"}, kKey), StartsWith("2 ravant: give --key-stdin"));
  EXPECT_EQ(outcome({"linear", "add", "--key-stdin"}, "wrong"),
            "1 ravant: Linear rejected the API key. Check that the key is correct and not revoked.\n");
  EXPECT_EQ(outcome({"linear", "add", "--key-stdin"}, "\n"), "1 ravant: the API key is empty\n");
  EXPECT_EQ(outcome({"linear", "issues", "acme"}),
            "1 ravant: there is no workspace \"acme\", and no other one either\n");
  linear.change(
      [](LinearWorkspace& workspace) {
        workspace.viewer["email"] = "bob@example.com";
        workspace.teams = {linearTeam("ENG", "Engineering")};
      },
      "key-of-bob");
  connect();
  linear.answerInstead(Query::assignedIssues, 1, linearAnswer(429, "{}"));
  const ProgramResult ofBob = sandbox.run({"linear", "add", "--key-stdin"}, "key-of-bob");
  EXPECT_EQ(ofBob.status, 0);
  const std::string bob(sandbox.json({"linear", "list"}).at(1).at("id").as_string());
  EXPECT_THAT(ofBob.errors, EndsWith("(try again: ravant linear issues " + bob + " --sync)\n"));
  for (const json::value& workspace : sandbox.json({"linear", "list"}).as_array()) {
    sandbox.run({"pin", "add", "linear", workspace.at("id").as_string().c_str(), "--team", "ENG"});
  }
  EXPECT_THAT(sandbox.run({"pin", "list"}).output,
              AllOf(HasSubstr("acme (ada@example.com)"), HasSubstr("acme (bob@example.com)")));
  EXPECT_THAT(outcome({"linear", "teams", "acme"}), AllOf(StartsWith("1 ravant: \"acme\" is ambiguous"),
                                                          HasSubstr("ada@example.com"), HasSubstr("bob@example.com")));
  EXPECT_EQ(outcome({"linear", "remove", bob}), "2 ravant: nobody can be asked here: give --yes to agree\n");

  sandbox.run({"settings", "reset", "keyStore"});
  EXPECT_THAT(outcome({"linear", "add", "--key-stdin"}, kKey),
              AllOf(StartsWith("1 ravant: Couldn't store the API key in the keychain: "),
                    HasSubstr("run: ravant settings set keyStore file")));
  EXPECT_THAT(outcome({"linear", "remove", bob, "--yes"}),
              AllOf(StartsWith("1 ravant: The workspace is removed, but its API key couldn't be deleted from the "
                               "keychain: "),
                    EndsWith("; add it again and remove it, or delete the entry com.ravant.integrations.linear of "
                             "bob@example.com@acme in your key store\n")));
}

TEST_F(LinearCommands, keepTheKeyToThemselvesWhateverTheServerSays) {
  connect();
  const std::string long_(9'000'000, 'x');
  const std::vector<SimulatedLinear::Answer> answers = {
      linearAnswer(500, fmt::format("{}\n\x1b[2J {}", kKey, long_)), linearAnswer(403, kKey),
      linearAnswer(200, fmt::format("not JSON {}\n{}", kKey, kKey)),
      linearAnswer(200, compactJson({{"errors", {{{"message", fmt::format("no\n\x1b[1m{} {}", kKey, long_)}}}}})),
      [](HttpServer::Connection& connection) {
        connection.respond(302, {{"Location", "http://127.0.0.1:1/" + kKey}}, "");
      }};
  for (const SimulatedLinear::Answer& answer : answers) {
    for (const char* option : {"--verbose", "--json"}) {
      linear.answerInstead(Query::teams, 1, answer);
      const ProgramResult result = sandbox.run({"linear", "teams", "acme", "--sync", option});
      EXPECT_EQ(result.status, 1);
      EXPECT_EQ(result.output, "");
      EXPECT_THAT(result.errors, AllOf(EndsWith("\n"), Not(HasSubstr(kKey)), Not(HasSubstr("\x1b"))));
      EXPECT_LT(result.errors.size(), 4'000u);
      if (std::string_view(option) == "--json") EXPECT_EQ(std::ranges::count(result.errors, '\n'), 1) << result.errors;
    }
  }
  const ProgramResult list = sandbox.run({"linear", "list", "--json", "--verbose"});
  EXPECT_THAT(list.output + list.errors, Not(HasSubstr(kKey)));
  for (const auto& entry : std::filesystem::recursive_directory_iterator(sandbox.data())) {
    if (!entry.is_regular_file() || entry.path().filename() == "keys.json") continue;
    EXPECT_THAT(readFile(entry.path()).value(), Not(HasSubstr(kKey))) << entry.path();
  }
}

TEST_F(LinearCommands, sendTheKeyToNoOtherServer) {
  connect();
  const HttpServer other([](const auto&, HttpServer::Connection& connection) { connection.respond(200, {}, "{}"); });
  for (const std::string& address : {other.url(), fmt::format("http://localhost:{}", other.port())}) {
    linear.answerInstead(Query::teams, 1, [address](HttpServer::Connection& connection) {
      connection.respond(307, {{"Location", address + "/graphql"}}, "");
    });
    EXPECT_EQ(sandbox.run({"linear", "teams", "acme", "--sync"}).status, 1);
  }
  EXPECT_EQ(other.connections(), 0u);
}

/// The third page never comes.
TEST_F(LinearCommands, loseNothingWhenASyncIsStopped) {
  connect();
  for (const int signal : {SIGKILL, SIGINT}) {
    Gate third;
    linear.answerInstead(Query::assignedIssues, 3, [&](HttpServer::Connection& connection) {
      third.open();
      connection.wait(never);
    });
    Program program = sandbox.start({"linear", "issues", "acme", "--sync"});
    third.wait();
    const auto began = std::chrono::steady_clock::now();
    program.signal(signal);
    EXPECT_EQ(program.wait().status, signal == SIGINT ? 130 : 128 + SIGKILL);
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
    EXPECT_EQ(stored(), 120u);
  }
  linear.answerInstead(Query::assignedIssues, 2, linearAnswer(500, "{}"));
  EXPECT_EQ(sandbox.run({"linear", "issues", "acme", "--sync"}).status, 1);
  EXPECT_EQ(stored(), 120u);
  linear.change([](LinearWorkspace& workspace) { workspace.issues.resize(1); });
  EXPECT_THAT(sandbox.json({"linear", "issues", "acme", "--sync"}).as_array(), SizeIs(1));
}

/// Only what asks the server needs its address.
TEST_F(LinearCommands, readTheStoreWhateverTheAddressIs) {
  connect();
  sandbox.setVariable("RAVANT_LINEAR_URL", "ftp://nowhere");
  EXPECT_THAT(sandbox.run({"linear", "teams", "acme", "--sync"}).errors, HasSubstr("RAVANT_LINEAR_URL"));
  for (const std::vector<std::string>& command : {std::vector<std::string>{"linear", "list"},
                                                  {"linear", "teams", "acme"},
                                                  {"linear", "issues", "acme"},
                                                  {"pin", "add", "linear", "acme", "--team", "ENG"},
                                                  {"pin", "list"},
                                                  {"linear", "remove", "acme", "--yes"}}) {
    EXPECT_EQ(sandbox.run(command).status, 0) << command.at(1);
  }
}

TEST_F(LinearCommands, forgetAWorkspaceWithItsKeyAndItsViews) {
  connect();
  sandbox.run({"pin", "add", "linear", "acme", "--team", "ENG"});
  EXPECT_THAT(sandbox.json({"pin", "list"}).as_array(), SizeIs(1));
  EXPECT_EQ(sandbox.run({"linear", "remove", "acme", "--yes"}).output, "Removed acme (Acme, ada@example.com)\n");
  EXPECT_THAT(sandbox.json({"linear", "list"}).as_array(), SizeIs(0));
  EXPECT_THAT(sandbox.json({"pin", "list"}).as_array(), SizeIs(0));
  EXPECT_THAT(readFile(sandbox.data() / "keys.json").value(), Not(HasSubstr(kKey)));
}

}  // namespace
}  // namespace ravant::test
