#pragma once

#include <cstddef>
#include <cstdint>
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
  /// `pastTurnIds`: the turns of the thread that are over; `shownOutputs`: what the last of them left.
  explicit CodexTurn(std::string model, std::set<std::string> pastTurnIds = {},
                     std::map<std::string, std::string> shownOutputs = {})
      : model_(std::move(model)), pastTurnIds_(std::move(pastTurnIds)), shownOutputs_(std::move(shownOutputs)) {}

  /// The server has started the turn and named it; by now it can have ended.
  std::vector<turn::Action> onStarted(std::string turnId);
  std::vector<turn::Action> ingest(std::string_view method, const json::object& params, std::string_view line);

  enum class Outputs { worthTelling, all };
  /// The output so far of the commands that have said more. To be asked for when all that has arrived together was
  /// ingested. A long output is worth telling only when it has grown by a part of itself, so that what is told of a
  /// command stays in proportion to what it said.
  std::vector<turn::Action> takeOutputs(Outputs outputs = Outputs::worthTelling);
  bool hasUntoldOutput() const { return !outspoken_.empty(); }

  /// What is shown of the calls that have not ended, by their ids.
  std::map<std::string, std::string> shownOutputs() const;

  /// The prompt is over, however it ended: what was begun and never completed comes out as far as it came. A call that
  /// is announced from now on has no prompt to run in and is told as ended.
  std::vector<turn::Action> close();

  bool isOver() const { return isOver_; }

 private:
  using Actions = std::vector<turn::Action>;

  /// One that is not complete.
  struct GrowingMessage {
    std::optional<std::string> id;
    std::string text;
    std::string line;  ///< its first one
  };

  enum class CallState {
    running,
    endedUnannounced,  ///< the server has not said yet that it began
    ended
  };
  struct Call {
    CallState state;
    std::string input = {};
    std::string output = {};  ///< up to now, without the exit code
    std::optional<std::int64_t> exitCode = {};
    std::size_t untoldBytes = 0;  ///< of the output
  };
  using Calls = std::map<std::string, Call>;

  bool isOurs(const std::optional<std::string>& turnId) const {
    return !turnId || (turnId_ ? *turnId == *turnId_ : !pastTurnIds_.contains(*turnId));
  }
  void ingestCodexItem(const codex::ItemEvent& event, bool isOurs, std::string_view line, Actions& actions);

  void ingestMessage(const codex::MessageItem& message, std::string_view line, Actions& actions);
  void ingestDelta(const codex::MessageDelta& delta, std::string_view line, Actions& actions);
  void ingestReasoning(const codex::ReasoningDelta& delta, Actions& actions);
  std::string withoutToldPart(const codex::MessageItem& message) const;
  void tellGrowing(std::size_t count, Actions& actions);

  void ingestTool(const codex::ToolItem& tool, codex::ItemStage stage, bool isOurs, std::string_view line,
                  Actions& actions);
  void addCall(const codex::ToolItem& tool, codex::ItemStage stage, bool isOurs, std::string_view line,
               Actions& actions);
  void onCallProgress(Calls::iterator call, const codex::ToolItem& tool, Actions& actions);
  void onCallResult(const codex::ToolItem& tool, Actions& actions);
  std::string shownOutputOf(const std::string& callId);
  void ingestOutput(const codex::OutputDelta& delta);
  void tellOutput(Calls::iterator call, Actions& actions);

  void ingestUsage(const codex::UsageEvent& report, Actions& actions);
  void ingestError(const codex::ErrorEvent& error, Actions& actions);
  void end(const codex::TurnEnded& ended, Actions& actions);

  std::string model_;
  std::optional<std::string> turnId_;
  std::set<std::string> pastTurnIds_;
  std::map<std::string, std::string> shownOutputs_;    ///< by earlier turns, of calls that have not ended since
  Calls calls_;                                        ///< by their ids; of those with one id the last
  std::set<std::string> outspoken_;                    ///< calls with untold output
  std::vector<GrowingMessage> growingMessages_;        ///< in the order in which they were begun
  std::map<std::string, std::string> completedTexts_;  ///< of messages, by their ids
  std::map<std::string, std::string> toldParts_;       ///< of messages that were passed by before they were complete
  std::string reasoningPart_;
  std::optional<std::string> lastAgentMessageId_;  ///< since the last usage report
  std::optional<std::int64_t> contextWindow_;
  std::optional<codex::Failure> failure_;
  std::vector<codex::TurnEnded> endedBeforeStart_;
  bool isOver_ = false;
  bool isClosed_ = false;
};

}  // namespace ravant
