#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/journeys/sandbox.hpp"
#include "tests/support/processes.hpp"
#include "tests/support/pseudo_terminal.hpp"

namespace ravant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

/// An event as `item agentMessage`, `invocation running`, `finished failed`.
std::vector<std::string> outline(const std::vector<json::object>& events) {
  std::vector<std::string> lines;
  for (const json::object& event : events) {
    std::string line(event.at("event").as_string());
    if (const auto* item = objectAt(event, "item")) line.append(" ").append(stringAt(*item, "kind").value());
    if (const auto* call = objectAt(event, "invocation")) line.append(" ").append(stringAt(*call, "status").value());
    if (const auto state = stringAt(event, "state")) line.append(" ").append(*state);
    if (const auto reason = stringAt(event, "reason")) line.append(" ").append(*reason);
    lines.push_back(std::move(line));
  }
  return lines;
}

/// Holds a script back until the test lets it go on.
class Gate {
 public:
  explicit Gate(const Sandbox& sandbox) : path_(sandbox.home() / "gate") {
    EXPECT_EQ(::mkfifo(path_.c_str(), 0600), 0);
  }
  /// The command of the script that waits. Open for both, it does not end with whoever opened the gate before.
  std::string wait() const { return "read -r _ <>'" + path_.string() + "'\n"; }
  void open() const { std::ofstream(path_) << "go on\n"; }

 private:
  std::filesystem::path path_;
};

std::string answering(std::string_view words) {
  return claude_says::begin() + claude_says::text(words) + claude_says::end();
}

/// A script that starts a tool call, says its process id in a file, and never ends by itself.
std::string hanging() {
  return "echo $$ >\"$HOME/agent.pid\"\n" + claude_says::begin() + claude_says::toolUse("call-1", "make") +
         "exec tail -f /dev/null\n";
}

pid_t agentPid(const Sandbox& sandbox) {
  pid_t pid = 0;
  std::ifstream(sandbox.home() / "agent.pid") >> pid;
  return pid;
}

std::string latestConversation(const Sandbox& sandbox) {
  return std::string(sandbox.json({"conversation", "list"}).at(0).at("id").as_string());
}

json::object onlyInvocation(const Sandbox& sandbox) {
  const json::value shown = sandbox.json({"conversation", "show", latestConversation(sandbox)});
  for (const json::value& item : shown.at("items").as_array()) {
    if (item.at("kind") == "toolInvocationGroup") return item.at("invocations").at(0).as_object();
  }
  return {};
}

/// How the latest prompt of the latest conversation ended, as a script reads it.
std::string endReason(const Sandbox& sandbox) {
  std::string reason = "no prompt";
  const json::value shown = sandbox.json({"conversation", "show", latestConversation(sandbox)});
  for (const json::value& item : shown.at("items").as_array()) {
    if (item.at("kind") == "userMessage") reason = stringAt(item.as_object(), "endReason").value_or("unknown");
  }
  return reason;
}

bool isState(std::string_view line) { return line.starts_with("state "); }

TEST(Run, FollowsTheRunAsText) {
  const Sandbox sandbox;
  sandbox.run({"project", "add", "."});
  sandbox.addAgent(claude_says::begin() + claude_says::text("Let me look.\n\n```sh\nls -l\n```") +
                   claude_says::toolUse("call-1", "ls -l") + claude_says::toolResult("call-1", "main.c\nREADME.md") +
                   claude_says::text("Two files.") + claude_says::end());
  const ProgramResult result = sandbox.run({"run", "--agent", "claude", "What is here?"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors, IsEmpty());
  EXPECT_THAT(result.output, StartsWith("project (" + sandbox.project().string() + ") · conversation " +
                                        latestConversation(sandbox).substr(0, 8)));
  EXPECT_THAT(result.output, EndsWith("Let me look.\n\n```sh\nls -l\n```\n\n"
                                      "• Bash ls -l\n  ✓ Bash\n    main.c\n    README.md\n\n"
                                      "Two files.\n\n155 tokens in context (16% of 1000)\n"));
  EXPECT_THAT(result.output, Not(HasSubstr("What is here?")));

  EXPECT_EQ(endReason(sandbox), "finished");
  EXPECT_THAT(sandbox.run({"conversation", "show", latestConversation(sandbox)}).output, Not(HasSubstr("──")));
}

TEST(Run, RegistersTheTopOfTheRepositoryAndNothingThatWasNotMeant) {
  Sandbox sandbox;
  sandbox.addAgent(answering("Done."));
  std::filesystem::create_directories(sandbox.project() / ".git");
  std::ofstream(sandbox.project() / ".git/HEAD") << "ref: refs/heads/main\n";
  std::filesystem::create_directories(sandbox.project() / "src/deep");
  sandbox.enter(sandbox.project() / "src/deep");
  const std::string name = "project (" + sandbox.project().string() + ")";
  EXPECT_THAT(sandbox.run({"run", "--agent", "claude", "Hello"}).output,
              StartsWith("Registered the project " + name + ".\n" + name + " · conversation "));
  EXPECT_THAT(sandbox.run({"run", "--continue", "Hello"}).output, StartsWith(name + " · conversation "));

  sandbox.enter(sandbox.home());
  const ProgramResult refused = sandbox.run({"run", "Hello"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.errors, HasSubstr("it is your home folder"));
  EXPECT_EQ(sandbox.json({"project", "list"}).as_array().size(), 1);
  EXPECT_THAT(sandbox.run({"run", "--agent", "claude", "--project", ".", "Hello"}).output,
              StartsWith("Registered the project home"));
}

TEST(Run, PrintsAnEventALine) {
  const Sandbox sandbox;
  const Gate gate(sandbox);
  sandbox.addAgent(claude_says::begin() + claude_says::toolUse("call-1", "ls") + gate.wait() +
                   claude_says::toolResult("call-1", "main.c") + claude_says::text("One file.") + claude_says::end());
  Program program = sandbox.start({"run", "--agent", "claude", "--model", "any-model", "--json", "What?"});
  ASSERT_TRUE(program.readUntil("\"running\""));
  gate.open();
  const ProgramResult result = program.wait();
  EXPECT_EQ(result.status, 0) << result.errors;

  const std::vector<json::object> all = events(result.output);
  std::vector<std::string> lines = outline(all);
  std::erase(lines, "usage");
  std::erase_if(lines, isState);
  EXPECT_THAT(lines, ElementsAre("started", "item userMessage", "item toolInvocationGroup", "invocation running",
                                 "invocation completed", "item agentMessage", "finished finished"));
  EXPECT_EQ(all[0].at("agent"), "claude");
  EXPECT_EQ(all[0].at("model"), "any-model");
  EXPECT_EQ(all[0].at("conversation").as_string(), latestConversation(sandbox));
  const auto isEvent = [](std::string_view what) {
    return [what](const json::object& event) { return outline({event}).front() == what; };
  };
  const auto group = std::ranges::find_if(all, isEvent("item toolInvocationGroup"));
  EXPECT_TRUE(group->at("item").at("invocations").as_array().empty());
  const auto usage = std::find_if(all.rbegin(), all.rend(), isEvent("usage"));
  ASSERT_NE(usage, all.rend());
  EXPECT_EQ(usage->at("conversation").at("lastUsedTokens"), 155);
  EXPECT_EQ(usage->at("conversation").at("lastMaxTokens"), 1000);
}

TEST(Run, TellsWhatItDoes) {
  const Sandbox sandbox;
  const Gate gate(sandbox);
  sandbox.addAgent(claude_says::begin() + claude_says::toolUse("call-1", "ls") + gate.wait() +
                   claude_says::toolResult("call-1", "main.c") + gate.wait() + claude_says::text("One file.") +
                   claude_says::end());
  Program program = sandbox.start({"run", "--agent", "claude", "--json", "What?"});
  ASSERT_TRUE(program.readUntil("\"runningTool\""));
  gate.open();
  ASSERT_TRUE(program.readUntil("\"completed\""));
  gate.open();
  const std::vector<json::object> all = events(program.wait().output);
  const std::vector<std::string> lines = outline(all);
  EXPECT_EQ(lines.back(), "finished finished");
  const auto running = std::ranges::find(lines, "state runningTool");
  ASSERT_NE(running, lines.end());
  EXPECT_NE(std::find(lines.begin(), running, "state thinking"), running);
  EXPECT_NE(std::find(running, lines.end(), "state thinking"), lines.end());
  const auto call = std::ranges::find(lines, "invocation running");
  EXPECT_LT(call, running) << "who reads of it knows the call";
  const auto event = [&](auto line) { return all[static_cast<std::size_t>(line - lines.begin())]; };
  EXPECT_EQ(event(running).at("invocation"), event(call).at("invocation").at("id"));
}

TEST(Run, ShowsWhatItDoesOnATerminalsLastLine) {
  Sandbox sandbox;
  sandbox.setVariable("TERM", "xterm");
  const Gate gate(sandbox);
  sandbox.addAgent(claude_says::begin() + claude_says::toolUse("call-1", "ls") + gate.wait() +
                   claude_says::toolResult("call-1", "main.c") + claude_says::text("One file.") + claude_says::end());
  Program program = sandbox.start({"run", "--agent", "claude", "What?"}, {}, ProgramOutput::terminal);
  ASSERT_TRUE(program.readUntil("running Bash, ")) << "it is told how long";
  gate.open();
  const ProgramResult result = program.wait();
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(screenOf(result.output), EndsWith("\n• Bash ls\n  ✓ Bash\n    main.c\n\n"
                                                "One file.\n\n155 tokens in context (16% of 1000)\n"));
  EXPECT_THAT(screenOf(result.output), Not(HasSubstr("…")));
}

TEST(Run, ContinuesTheConversationAndTheAgentsSession) {
  const Sandbox sandbox;
  sandbox.addAgent(answering("Hello."));
  const auto first = events(
      sandbox.run({"run", "--agent", "claude", "--model", "m-1", "--title", "Greeting", "--json", "Hello"}).output);
  EXPECT_THAT(sandbox.agentArguments(), Not(HasSubstr("--resume")));
  const auto second = events(sandbox.run({"run", "--continue", "--json", "Again"}).output);
  EXPECT_EQ(second.front().at("conversation"), first.front().at("conversation"));
  EXPECT_EQ(second.front().at("model"), "m-1");
  EXPECT_THAT(sandbox.agentArguments(), HasSubstr("--resume\nsession-1\n"));
  EXPECT_THAT(sandbox.agentArguments(), EndsWith("Again\n"));

  const auto third = events(sandbox.run({"run", "--agent", "claude", "--json", "Hello"}).output);
  EXPECT_NE(third.front().at("conversation"), first.front().at("conversation"));

  const std::string id(first.front().at("conversation").as_string());
  const ProgramResult other = sandbox.run({"run", "--conversation", id, "--agent", "ravant", "Hello"});
  EXPECT_EQ(other.status, 1);
  EXPECT_THAT(other.errors, HasSubstr("belongs to the agent claude"));
  EXPECT_THAT(other.output, IsEmpty());
}

TEST(Run, HandsThePromptOverIntact) {
  const Sandbox sandbox;
  sandbox.addAgent(answering("Yes."));
  const std::string prompt = "- \"quoted\" 'single' $HOME `id` \\ !\n\tüñí 漢字 🙂\nlast line";
  EXPECT_EQ(sandbox.run({"run", "--agent", "claude"}, prompt + "\n").status, 0);
  EXPECT_THAT(sandbox.agentArguments(), EndsWith("\n" + prompt + "\n"));
  EXPECT_EQ(sandbox.run({"run", "--continue", "--", "--version"}).status, 0);
  EXPECT_THAT(sandbox.agentArguments(), EndsWith("\n--version\n"));
}

TEST(Run, RefusesPromptsThatAreNone) {
  const Sandbox sandbox;
  sandbox.addAgent(answering("Yes."));
  for (const std::string input : {"", " \n\n", "bad \xFF byte"}) {
    const ProgramResult result = sandbox.run({"run", "--agent", "claude", "-"}, input);
    EXPECT_EQ(result.status, 1) << input;
    EXPECT_THAT(result.errors, StartsWith("ravant: the prompt is"));
    EXPECT_THAT(result.output, IsEmpty());
  }
  EXPECT_TRUE(sandbox.json({"conversation", "list"}).as_array().empty());
}

TEST(Run, FailsWithTheFailuresText) {
  const Sandbox sandbox;
  sandbox.addAgent(claude_says::begin() + claude_says::failure("API Error: 400\nno such model"));
  const ProgramResult result = sandbox.run({"run", "--agent", "claude", "--json", "Hello"});
  EXPECT_EQ(result.status, 1);
  std::vector<std::string> lines = outline(events(result.output));
  std::erase_if(lines, isState);
  EXPECT_THAT(lines, ElementsAre("started", "item userMessage", "item failureEvent", "finished failed"));
  EXPECT_EQ(endReason(sandbox), "failed");
  EXPECT_EQ(result.errors, "ravant: The agent run failed: API Error: 400 no such model\n");
}

TEST(Run, MakesTerminalSequencesHarmless) {
  const Sandbox sandbox;
  sandbox.addAgent(claude_says::begin() + claude_says::text("\x1b]0;owned\x07 \x1b[2J \u009b31m \u202e text") +
                   claude_says::toolUse("call-1", "\x1b[8m") + claude_says::toolResult("call-1", "\x1b[1A\rgone") +
                   claude_says::end());
  const ProgramResult run = sandbox.run({"run", "--agent", "claude", "--title", "\x1b[5m", "Hello"});
  const ProgramResult list = sandbox.run({"conversation", "list"});
  const ProgramResult show = sandbox.run({"conversation", "show", latestConversation(sandbox), "--raw"});
  for (const ProgramResult& result : {run, list, show}) {
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, Not(testing::ContainsRegex("[\x1b\x07\r]")));
    EXPECT_THAT(result.output, Not(HasSubstr("\u009b")));
    EXPECT_THAT(result.output, Not(HasSubstr("\u202e")));
  }
  EXPECT_THAT(run.output, HasSubstr("␛[2J"));
}

TEST(Run, AnInterruptionCancelsThePrompt) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const Sandbox sandbox;
    sandbox.addAgent(hanging());
    Program program = sandbox.start({"run", "--agent", "claude", "--json", "Hello"});
    ASSERT_TRUE(program.readUntil("\"running\""));
    program.signal(signal);
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.status, 130) << result.errors;
    EXPECT_THAT(outline(events(result.output)).back(), "finished cancelled");
    EXPECT_FALSE(isAlive(agentPid(sandbox)));
    EXPECT_EQ(onlyInvocation(sandbox).at("status"), "failed");
    EXPECT_EQ(endReason(sandbox), "cancelled");
    const std::string shown = sandbox.run({"conversation", "show", latestConversation(sandbox)}).output;
    EXPECT_THAT(shown, HasSubstr("\n\n── cancelled after "));
    EXPECT_GT(shown.find("── cancelled"), shown.find("Bash")) << "behind what came of the prompt";
    EXPECT_THAT(sandbox.run({"conversation", "show", latestConversation(sandbox), "--last", "1"}).output,
                HasSubstr("── cancelled after "));
  }
}

TEST(Run, ASecondInterruptionDoesNotWaitForTheAgent) {
  const Sandbox sandbox;
  sandbox.addAgent("trap '' INT TERM HUP\n" + hanging());
  Program program = sandbox.start({"run", "--agent", "claude", "--json", "Hello"});
  ASSERT_TRUE(program.readUntil("\"running\""));
  program.signal(SIGINT);
  program.signal(SIGTERM);
  EXPECT_EQ(program.wait().status, 130);
  EXPECT_FALSE(isAlive(agentPid(sandbox)));
}

TEST(Run, AKilledRunIsRepairedByTheNextStart) {
  const Sandbox sandbox;
  sandbox.addAgent(hanging());
  Program program = sandbox.start({"run", "--agent", "claude", "--json", "Hello"});
  ASSERT_TRUE(program.readUntil("\"running\""));
  program.signal(SIGKILL);
  EXPECT_EQ(program.wait().status, 128 + SIGKILL);

  EXPECT_EQ(onlyInvocation(sandbox).at("status"), "failed");
  EXPECT_EQ(endReason(sandbox), "interrupted");
  EXPECT_FALSE(isAlive(agentPid(sandbox)));
  sandbox.writeAgent(answering("Back again."));
  EXPECT_EQ(sandbox.run({"run", "--continue", "Go on"}).status, 0);
}

TEST(Run, TwoProgramsShareOneStore) {
  const Sandbox sandbox;
  sandbox.addAgent(hanging());
  Program first = sandbox.start({"run", "--agent", "claude", "--json", "Hello"});
  ASSERT_TRUE(first.readUntil("\"running\""));
  const std::string conversation = latestConversation(sandbox);

  sandbox.writeAgent(answering("I am the other one."));
  EXPECT_EQ(sandbox.run({"run", "--agent", "claude", "Hello"}).status, 0);
  const json::value before = sandbox.json({"conversation", "show", conversation});
  const ProgramResult busy =
      sandbox.run({"run", "--conversation", conversation, "--model", "other", "--title", "Second", "--json", "Hello"});
  EXPECT_EQ(busy.status, 1);
  EXPECT_THAT(busy.output, IsEmpty());
  EXPECT_EQ(busy.errors, "ravant: A prompt is already running in this conversation.\n");
  EXPECT_EQ(sandbox.json({"conversation", "show", conversation}), before);
  for (const std::vector<std::string>& removal :
       {std::vector<std::string>{"conversation", "delete", "--yes", conversation},
        {"project", "remove", "--yes", "."}}) {
    const ProgramResult refused = sandbox.run(removal);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("a prompt is running"));
  }
  EXPECT_TRUE(isAlive(agentPid(sandbox)));

  first.signal(SIGINT);
  const ProgramResult result = first.wait();
  EXPECT_EQ(result.status, 130);
  EXPECT_THAT(result.output, Not(HasSubstr("I am the other one.")));
}

TEST(Run, StopsTheAgentWhenNobodyReadsTheOutput) {
  const Sandbox sandbox;
  const Gate gate(sandbox);
  sandbox.addAgent("echo $$ >\"$HOME/agent.pid\"\n" + claude_says::begin() + claude_says::text("One.") + gate.wait() +
                   claude_says::text("Two.") + "exec tail -f /dev/null\n");
  Program program = sandbox.start({"run", "--agent", "claude", "Hello"});
  ASSERT_TRUE(program.readUntil("One."));
  program.closeOutput();
  gate.open();
  const ProgramResult result = program.wait();
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors, HasSubstr("the prompt was cancelled"));
  EXPECT_FALSE(isAlive(agentPid(sandbox)));
}

TEST(Run, AnEffortThatTheModelDoesNotTakeIsRefusedBeforeAnythingIsStored) {
  const Sandbox sandbox;
  sandbox.addAgent(answering("Done."));
  EXPECT_EQ(sandbox.run({"agent", "add", "pi", "--path", sandbox.writeAgent(answering("Done."))}).status, 0);
  const auto refusal = [&](std::vector<std::string> words) {
    const std::vector<std::string> run = {"run", "Go on", "--effort", "high"};
    words.insert(words.begin(), run.begin(), run.end());
    const ProgramResult result = sandbox.run(words);
    EXPECT_EQ(result.status, 1);
    return result.errors;
  };
  EXPECT_THAT(refusal({"--agent", "claude"}), HasSubstr("the model sonnet has no effort \"high\"; it has ultrathink"));
  EXPECT_THAT(refusal({"--agent", "claude", "--model", "my-own"}),
              HasSubstr("the model my-own has no effort \"high\"; it has ultrathink"));
  EXPECT_THAT(refusal({"--agent", "pi", "--model", "mine/own"}), HasSubstr("\"high\"; it has none"));
  EXPECT_EQ(sandbox.json({"conversation", "list"}), json::array());
  EXPECT_EQ(sandbox.json({"project", "list"}), json::array());

  EXPECT_EQ(sandbox.run({"run", "Think", "--agent", "claude", "--effort", "ultrathink"}).status, 0);
  EXPECT_THAT(sandbox.agentArguments(), EndsWith("Think\n\nultrathink\n"));
}

}  // namespace
}  // namespace ravant::test
