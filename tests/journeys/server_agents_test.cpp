#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "tests/journeys/sandbox.hpp"

namespace ravant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/// A server that answers each request by a line of the script; "GATE" is where it waits for `openGate`.
class ServerAgents : public testing::Test {
 protected:
  ServerAgents() { EXPECT_EQ(::mkfifo(gate_.c_str(), 0600), 0); }

  /// `answers` has pairs of a text in a request and the shell commands that answer it.
  std::string writeServer(const std::string& name, const std::vector<std::pair<std::string, std::string>>& answers) {
    std::string script =
        "#!/bin/sh\n[ \"$1\" != --version ] || { echo '9.9 (fake)'; exit; }\n"
        "echo \"$*\" >\"$HOME/arguments\"\nwhile read -r line; do case $line in\n";
    for (const auto& [request, commands] : answers) script += fmt::format("*'{}'*)\n{};;\n", request, commands);
    const auto path = sandbox.home() / name;
    std::ofstream(path) << script << "esac; done\n";
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }
  static std::string say(const std::string& line) {
    return fmt::format("cat <<'END_OF_LINE'\n{}\nEND_OF_LINE\n", line);
  }
  /// Open for both, it does not end with whoever opened the gate before.
  std::string waitForGate() const { return fmt::format("read -r _ <>'{}'\n", gate_.string()); }
  void openGate() const { std::ofstream(gate_) << "go on\n"; }

  Sandbox sandbox;

 private:
  std::filesystem::path gate_ = sandbox.home() / "gate";
};

TEST_F(ServerAgents, proseIsShownAsItGrowsAndOnce) {
  const auto told = [](const std::string& method, const std::string& rest) {
    return say(fmt::format(R"({{"method":"{}","params":{{"threadId":"t","turnId":"u",{}}}}})", method, rest));
  };
  const std::string codex = writeServer(
      "codex", {{R"("initialize")", say(R"({"id":1,"result":{}})")},
                {"thread/start", say(R"({"id":2,"result":{"thread":{"id":"t"}}})")},
                {"turn/start",
                 say(R"({"id":3,"result":{"turn":{"id":"u"}}})") +
                     told("item/agentMessage/delta", R"("itemId":"m","delta":"Once upon ")") + waitForGate() +
                     told("item/agentMessage/delta", R"("itemId":"m","delta":"a time")") +
                     told("item/completed", R"("item":{"type":"agentMessage","id":"m","text":"Once upon a time."})") +
                     told("item/completed",
                          R"("item":{"type":"commandExecution","id":"c","command":"ls","aggregatedOutput":"main.c"})") +
                     told("item/agentMessage/delta", R"("itemId":"n","delta":"Broken o")") +
                     told("item/agentMessage/delta", R"("itemId":"o","delta":"\n\nThe end.\n")") +
                     told("item/completed", R"("item":{"type":"agentMessage","id":"o","text":"The end."})") +
                     told("turn/completed", R"("turn":{"id":"u","status":"completed"})")}});
  ASSERT_EQ(sandbox.run({"agent", "add", "codex", "--path", codex}).status, 0);

  Program program = sandbox.start({"run", "--agent", "codex", "Tell me a story"});
  EXPECT_TRUE(program.readUntil("Once upon ")) << "before the message is complete";
  openGate();
  const ProgramResult result = program.wait();
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("\n\nOnce upon a time.\n\n• shell ls\n  ✓ shell\n    main.c\n"));
  EXPECT_NE(result.output.find("\nThe end.\n"), std::string::npos);
  EXPECT_EQ(result.output.find("The end."), result.output.rfind("The end.")) << "it is shown once";
}

TEST_F(ServerAgents, whatARunningToolPrintsIsToldOnce) {
  const auto item = [](const std::string& method, const std::string& rest) {
    return say(fmt::format(R"({{"method":"item/{}","params":{{"threadId":"t","turnId":"u","item":)"
                           R"({{"type":"commandExecution","id":"c","command":"make"{}}}}}}})",
                           method, rest));
  };
  const std::string codex = writeServer(
      "codex",
      {{R"("initialize")", say(R"({"id":1,"result":{}})")},
       {"thread/start", say(R"({"id":2,"result":{"thread":{"id":"t"}}})")},
       {"turn/start", say(R"({"id":3,"result":{"turn":{"id":"u"}}})") + item("started", "") + waitForGate() +
                          item("updated", R"(,"aggregatedOutput":"first\n")") + waitForGate() +
                          item("updated", R"(,"aggregatedOutput":"first\nsecond\n")") + waitForGate() +
                          item("completed", R"(,"aggregatedOutput":"first\nsecond\nthird\n","exitCode":0)") +
                          say(R"({"method":"turn/completed","params":{"turn":{"id":"u","status":"completed"}}})")}});
  ASSERT_EQ(sandbox.run({"agent", "add", "codex", "--path", codex}).status, 0);

  Program program = sandbox.start({"run", "--agent", "codex", "--json", "Build it"});
  for (const char* seen : {"\"runningTool\"", R"("text":"first\n")", R"("text":"second\n")"}) {
    ASSERT_TRUE(program.readUntil(seen)) << seen;
    openGate();
  }
  std::vector<std::string> told;
  for (const json::object& event : events(program.wait().output)) {
    if (event.at("event") == "output") told.push_back(fmt::format("+ {}", stringAt(event, "text").value()));
    if (event.at("event") == "invocation") {
      const json::object& invocation = event.at("invocation").as_object();
      told.push_back(
          fmt::format("{} {}", stringAt(invocation, "status").value(), stringAt(invocation, "output").value_or("-")));
    }
  }
  EXPECT_THAT(told, ElementsAre("running -", "+ first\n", "+ second\n", "completed first\nsecond\nthird\n"));
}

TEST_F(ServerAgents, anyAgentOfTheProtocolIsRunAsCursor) {
  const std::string program = writeServer(
      "open-agent",
      {{R"("initialize")", say(R"({"id":1,"result":{"authMethods":[]}})")},
       {"authenticate", say(R"({"id":2,"error":{"code":-32601,"message":"Method not found"}})")},
       {"session/new", say(R"({"id":3,"result":{"sessionId":"s","configOptions":[{"id":"m","category":"model",)"
                           R"("currentValue":"p/one","options":[{"value":"p/one","name":"One"}]}]}})")},
       {"set_config_option", say(R"({"id":4,"result":{}})")},
       {"session/prompt",
        say(R"({"method":"session/update","params":{"sessionId":"s","update":)"
            R"({"sessionUpdate":"agent_message_chunk","content":{"type":"text","text":"Hello."}}}})") +
            say(R"({"id":5,"result":{"stopReason":"end_turn"}})")}});
  ASSERT_EQ(sandbox.run({"agent", "add", "cursor", "--path", program}).status, 0);
  ASSERT_EQ(sandbox.run({"agent", "set-arguments", "cursor", "--", "--experimental-acp", "x"}).status, 0);
  EXPECT_THAT(sandbox.json({"agent", "list"}).at(1).at("arguments").as_array(), ElementsAre("--experimental-acp", "x"));
  EXPECT_THAT(sandbox.run({"agent", "list"}).output, HasSubstr(program + " --experimental-acp x"));

  const json::value models = sandbox.json({"model", "refresh", "cursor"});
  ASSERT_EQ(models.as_array().size(), 1U);
  EXPECT_EQ(models.at(0).at("slug"), "p/one");

  const ProgramResult result = sandbox.run({"run", "--agent", "cursor", "Hello?"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("\n\nHello.\n"));
  std::string arguments;
  std::getline(std::ifstream(sandbox.home() / "arguments"), arguments);
  EXPECT_EQ(arguments, "--experimental-acp x");

  EXPECT_FALSE(sandbox.json({"agent", "set-arguments", "cursor"}).as_object().contains("arguments"));
}

TEST_F(ServerAgents, modelsStayWhereAnAgentCannotBeAsked) {
  const std::string codex = writeServer(
      "codex", {{R"("initialize")", say(R"({"id":1,"result":{}})")},
                {"model/list", say(R"({"id":2,"result":{"data":[{"model":"gpt-new","displayName":"New"}]}})")}});
  ASSERT_EQ(sandbox.run({"agent", "add", "codex", "--path", codex}).status, 0);
  EXPECT_EQ(sandbox.json({"model", "refresh", "codex"}).at(0).at("slug"), "gpt-new");

  std::ofstream(codex) << "#!/bin/sh\necho 'not logged in' >&2\n";
  const ProgramResult result = sandbox.run({"model", "refresh"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, IsEmpty());
  EXPECT_THAT(result.errors, StartsWith("ravant: Codex could not be asked for its models: "));
  EXPECT_THAT(result.errors, HasSubstr("not logged in"));
  EXPECT_EQ(sandbox.json({"model", "list", "--agent", "codex"}).at(0).at("slug"), "gpt-new");
}

// Pi before 0.87 lists on standard error, and lists what its keys in the profile allow.
TEST_F(ServerAgents, theModelsOfPiAreListedInTheLoginShell) {
  std::ofstream(sandbox.home() / ".bash_profile") << "export SOME_KEY=1\n";
  const auto pi = sandbox.home() / "pi";
  std::ofstream(pi) << "#!/bin/sh\n[ -n \"$SOME_KEY\" ] || { echo 'No models available'; exit; }\n"
                       "echo 'provider  model  context  max-out  thinking  images  ' >&2\n"
                       "echo 'aaa  first  200K  8.2K  no  no' >&2\n"
                       "echo 'anthropic  claude-sonnet-5  1M  64K  yes  yes' >&2\n";
  std::filesystem::permissions(pi, std::filesystem::perms::owner_all);
  ASSERT_EQ(sandbox.run({"agent", "add", "pi", "--path", pi}).status, 0);
  const json::value models = sandbox.json({"model", "refresh", "pi"});
  ASSERT_EQ(models.as_array().size(), 2U);
  EXPECT_EQ(models.at(0).at("slug"), "anthropic/claude-sonnet-5") << "one that is known comes first";
  EXPECT_EQ(models.at(1).at("slug"), "aaa/first");
}

}  // namespace
}  // namespace ravant::test
