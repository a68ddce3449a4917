#pragma once

#include <map>
#include <optional>
#include <set>
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
  /// `pastTurnIds`: the turns of the thread that are over.
  explicit CodexTurn(std::string model, std::set<std::string> pastTurnIds = {})
      : model_(std::move(model)), pastTurnIds_(std::move(pastTurnIds)) {}

  /// The server has started the turn and named it; by now it can have ended.
  std::vector<turn::Action> onStarted(std::string turnId);
  std::vector<turn::Action> ingest(std::string_view method, const json::object& params, std::string_view line);

  /// The messages that were begun and never completed, for a turn that ends without them.
  std::vector<turn::Action> flushMessages();

  bool isOver() const { return isOver_; }

 private:
  using Actions = std::vector<turn::Action>;

  /// One that is not complete.
  struct GrowingMessage {
    std::string id;
    std::string text;
    std::string line;  ///< its first one
  };
  struct Call {
    std::string input;
    std::string output;
  };

  bool isOurs(const std::string& turnId) const {
    return turnId.empty() || (turnId_ ? turnId == *turnId_ : !pastTurnIds_.contains(turnId));
  }
  void ingestCodexItem(const codex::ItemEvent& event, bool isOurs, std::string_view line, Actions& actions);
  void ingestTool(const codex::ToolItem& tool, codex::ItemStage stage, bool isOurs, std::string_view line,
                  Actions& actions);
  void ingestDelta(const codex::MessageDelta& delta, std::string_view line, Actions& actions);
  void ingestUsage(const codex::UsageEvent& report, Actions& actions);
  void end(const codex::TurnEnded& ended, Actions& actions);

  std::string model_;
  std::optional<std::string> turnId_;
  std::set<std::string> pastTurnIds_;
  std::map<std::string, Call> insertedToolCalls_;  ///< by their ids
  std::set<std::string> insertedMessageIds_;
  std::vector<GrowingMessage> growingMessages_;
  std::optional<std::string> lastAgentMessageId_;  ///< since the last usage report
  std::optional<std::int64_t> contextWindow_;
  std::optional<std::string> error_;
  std::map<std::string, codex::TurnEnded> endedBeforeStart_;
  bool isOver_ = false;
};

}  // namespace ravant
