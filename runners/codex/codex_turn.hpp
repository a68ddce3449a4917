#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runners/agent_turn.hpp"
#include "runners/codex/codex_wire.hpp"

namespace ravant {

/// One turn of a Codex thread, as a state machine without input or output.
///
/// It is given everything that the server says of its thread, also what belongs to a turn before it, such as a command
/// that went on in the background, and what the server says before it has named the turn.
class CodexTurn {
 public:
  explicit CodexTurn(std::string model) : model_(std::move(model)) {}

  /// The server has started the turn and named it; by now it can have ended.
  std::vector<turn::Action> onStarted(std::string turnId);
  std::vector<turn::Action> ingest(std::string_view method, const json::object& params, std::string_view line);

  bool isOver() const { return isOver_; }

 private:
  using Actions = std::vector<turn::Action>;

  bool isOurs(const std::string& turnId) const { return !turnId_ || turnId.empty() || turnId == *turnId_; }
  void ingestCodexItem(const codex::ItemEvent& event, bool isOurs, std::string_view line, Actions& actions);
  void ingestTool(const codex::ToolItem& tool, codex::ItemStage stage, bool isOurs, std::string_view line,
                  Actions& actions);
  void end(const codex::TurnEnded& ended, Actions& actions);

  std::string model_;
  std::optional<std::string> turnId_;
  std::map<std::string, std::string> insertedToolCallIds_;  ///< with the input that was stored
  std::optional<std::string> lastAgentMessageId_;           ///< since the last usage report
  std::optional<std::string> error_;
  std::map<std::string, codex::TurnEnded> endedBeforeStart_;
  bool isOver_ = false;
};

}  // namespace ravant
