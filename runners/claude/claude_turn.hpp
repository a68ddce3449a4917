#pragma once

#include <optional>
#include <string>

#include "runners/agent_turn.hpp"
#include "runners/claude/claude_wire.hpp"
#include "runners/nameless_calls.hpp"

namespace ravant {

/// One turn of Claude Code.
///
/// The lines of a sub-agent count for their tool calls alone: its prose and its usage are not the
/// conversation's. What the program says in a model's place is held back until the next event, for a
/// failed result repeats it.
class ClaudeTurn final : public AgentTurn {
 public:
  /// `sessionId`: the one that is resumed.
  ClaudeTurn(std::optional<std::string> sessionId, std::optional<std::int64_t> contextWindow)
      : resumedSessionId_(std::move(sessionId)), sessionId_(resumedSessionId_), contextWindow_(contextWindow) {}

  std::vector<turn::Action> onLine(std::string_view line) override;
  std::vector<turn::Action> onCommandEnd() override;
  bool isSessionUnknown(std::string_view /*standardError*/) const override { return isSessionUnknown_; }
  std::string_view advice(std::string_view standardError) const override;

 private:
  using Actions = std::vector<turn::Action>;

  void ingestClaudeAssistantMessage(const claude::AssistantLine& message, std::string_view line, Actions& actions);
  void ingestClaudeUserMessage(const claude::UserLine& message, Actions& actions);
  void ingestClaudeSystemLine(const claude::CompactBoundaryLine& boundary, std::string_view line, Actions& actions);
  void ingestClaudeResultLine(const claude::ResultLine& result, std::string_view line, Actions& actions);
  void correctOutputCount(const claude::ResultLine& result, Actions& actions);
  void showHeldBack(Actions& actions);
  void append(turn::AppendAgentMessage message, Actions& actions);

  JsonLineParser parser_;
  std::optional<std::string> resumedSessionId_;
  std::optional<std::string> sessionId_;  ///< the agent's newest
  std::optional<std::int64_t> contextWindow_;
  NamelessCalls namelessCalls_;
  std::optional<turn::AppendAgentMessage> heldBack_;
  std::optional<turn::ApplyUsage> lastUsage_;
  bool hasSeveralReplies_ = false;
  bool hasShownMessage_ = false;
  bool isSessionUnknown_ = false;
  bool isOver_ = false;
};

}  // namespace ravant
