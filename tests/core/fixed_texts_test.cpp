#include <gmock/gmock.h>

#include "core/agent_command.hpp"
#include "core/agent_runner_error.hpp"
#include "core/agent_runner_store.hpp"
#include "core/conversation_item.hpp"
#include "core/prompt_end_reason.hpp"
#include "core/reasoning_effort_label.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;

/// What is stored, passed on or shown is compared with what other versions and programs know.
TEST(FixedTexts, ofAgentTypes) {
  std::vector<std::string> rows;
  for (const AgentType type : kAgentTypes) {
    rows.push_back(std::string(rawValue(type)) + "|" + std::string(displayName(type)) + "|" +
                   std::string(iconName(type)) + "|" + AgentCommand::executable(" ", type));
    EXPECT_EQ(agentTypeFromRawValue(rawValue(type)), type);
  }
  EXPECT_THAT(rows, ElementsAre("ravant|Ravant|ravant|ravant", "codex|Codex|AgentCodex|codex",
                                "claude|Claude Code|AgentClaude|claude", "pi|Pi|AgentPi|pi",
                                "cursor|Cursor|AgentCursor|cursor-agent"));
  EXPECT_EQ(agentTypeFromRawValue("Claude"), std::nullopt);
}

TEST(FixedTexts, ofEfforts) {
  std::vector<std::string> labels;
  for (const char* effort : {"low", "medium", "high", "xhigh", "max", "ultrathink"}) {
    labels.push_back(reasoningEffortLabel(effort));
  }
  EXPECT_THAT(labels, ElementsAre("Low", "Medium", "High", "Extra High", "Max", "Ultrathink"));
}

TEST(FixedTexts, ofTranscripts) {
  using enum ToolInvocationStatus;
  EXPECT_THAT((std::vector{rawValue(running), rawValue(completed), rawValue(failed)}),
              ElementsAre("running", "completed", "failed"));
  EXPECT_EQ(rawValue(MessageBlockKind::prose), "prose");
  EXPECT_EQ(rawValue(MessageBlockKind::code), "code");
}

TEST(FixedTexts, ofTheEndsOfPrompts) {
  using enum PromptEndReason;
  EXPECT_THAT((std::vector{rawValue(finished), rawValue(failed), rawValue(cancelled)}),
              ElementsAre("finished", "failed", "cancelled"));
  EXPECT_EQ(kShellPromptFinished, "ravant_shell_prompt_finished");
  EXPECT_EQ(kPromptEndReasonKey, "ravant_prompt_end_reason");
}

TEST(FixedTexts, ofRunnersErrors) {
  using Case = AgentRunnerError::Case;
  std::vector<std::string> words;
  for (const Case kind : {Case::busy, Case::spawnFailed, Case::processDied, Case::notConnected}) {
    words.emplace_back(AgentRunnerError(kind).what());
  }
  EXPECT_THAT(words, ElementsAre("busy", "spawnFailed", "processDied", "notConnected"));
  EXPECT_STREQ(AgentRunnerError::agentExitedSilently(" \n boom \n").what(), "agentExitedSilently: boom");
  EXPECT_STREQ(AgentRunnerError::agentExitedSilently(" \r\n\t").what(), "agentExitedSilently (no stderr)");
  EXPECT_STREQ(AgentRunnerError::rpc("no such thread").what(), "rpc(no such thread)");
}

}  // namespace
}  // namespace ravant::test
