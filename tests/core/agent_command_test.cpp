#include "core/agent_command.hpp"

#include <gmock/gmock.h>

#include "core/agent_runner_error.hpp"
#include "core/reasoning_effort_label.hpp"
#include "platform/text/text.hpp"

namespace ravant::test {
namespace {

AgentCommand command(AgentType agent) {
  return {.agent = agent,
          .binaryPath = " ",
          .model = "a model",
          .effort = {},
          .prompt = "it's $HOME\n",
          .sentinel = "END",
          .resumeSessionId = {}};
}

constexpr const char* kPromptWord = "\"$(echo aXQncyAkSE9NRQo= | base64 -d)\"";

TEST(CommandLine, hasTheWordsOfEachAgent) {
  const std::string prompt = kPromptWord;
  EXPECT_EQ(command(AgentType::claude).commandLine(),
            "claude -p --output-format stream-json --verbose --dangerously-skip-permissions --model 'a model' -- " +
                prompt + " < /dev/null; echo END\n");
  EXPECT_EQ(command(AgentType::codex).commandLine(),
            "codex exec --json --dangerously-bypass-approvals-and-sandbox --model 'a model' -- " + prompt +
                " < /dev/null; echo END\n");
  EXPECT_EQ(command(AgentType::pi).commandLine(),
            "pi --mode json -p --model 'a model' " + prompt + " < /dev/null; echo END\n");
  EXPECT_THROW(command(AgentType::cursor).commandLine(), std::logic_error);
}

TEST(CommandLine, resumesWhereEachAgentWantsIt) {
  const auto resumed = [](AgentType agent) {
    AgentCommand line = command(agent);
    line.resumeSessionId = "s'1";
    return line.commandLine();
  };
  EXPECT_THAT(resumed(AgentType::claude), testing::HasSubstr("--model 'a model' --resume 's'\\''1' -- "));
  EXPECT_THAT(resumed(AgentType::codex), testing::StartsWith("codex exec resume 's'\\''1' --json "));
  EXPECT_THAT(resumed(AgentType::pi), testing::HasSubstr("--model 'a model' --session 's'\\''1' \"$(echo "));
}

TEST(CommandLine, takesNoSessionThatAnAgentWouldTakeForSomethingElse) {
  for (const std::string id : {"--mcp-config=/tmp/evil", "-c", "", "two words", "line\nbreak"}) {
    for (const AgentType agent : {AgentType::claude, AgentType::codex, AgentType::pi}) {
      AgentCommand line = command(agent);
      line.resumeSessionId = id;
      EXPECT_THROW(line.commandLine(), PromptRefusedError) << id;
    }
  }
}

TEST(CommandLine, quotesAConfiguredPath) {
  EXPECT_EQ(AgentCommand::executable("\t/opt/it's here/claude\n", AgentType::claude), "'/opt/it'\\''s here/claude'");
  EXPECT_EQ(AgentCommand::executable(" \n", AgentType::cursor), "cursor-agent");
}

TEST(InjectedEffort, followsThePromptOnce) {
  AgentCommand line = command(AgentType::claude);
  line.effort = "ultrathink";
  EXPECT_EQ(line.injectEffortIfNeeded("/review it"), "/review it\n\nultrathink");
  EXPECT_EQ(line.injectEffortIfNeeded("ultrathink on it"), "ultrathink on it");
  line.effort = "high";
  EXPECT_EQ(line.injectEffortIfNeeded("/review it"), "/review it");
}

TEST(EffortLabels, thatAreUnknownAreCapitalised) {
  EXPECT_EQ(reasoningEffortLabel("High"), "High");
  EXPECT_EQ(reasoningEffortLabel("very deep-thinking it's"), "Very Deep-Thinking It's");
}

}  // namespace
}  // namespace ravant::test
