#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "runners/agent_turn.hpp"
#include "runners/nameless_calls.hpp"
#include "runners/pi/pi_wire.hpp"

namespace ravant {

/// One turn of Pi.
///
/// The turn is over when the agent has settled; versions before 0.87 do not say so, and their turn is over with their
/// command, if the agent had ended. What was begun and never completed is stored as far as it came. A failure is held
/// back until it is known that it is not tried again. The turn's usage is that of its last message.
class PiTurn final : public AgentTurn {
 public:
  explicit PiTurn(std::optional<std::string> sessionId) : sessionId_(std::move(sessionId)) {}

  std::vector<turn::Action> onLine(std::string_view line) override;
  /// The same for a line that was read.
  std::vector<turn::Action> onObject(const json::object& object, std::string_view line);
  std::vector<turn::Action> onCommandEnd() override;
  bool isSessionUnknown(std::string_view standardError) const override;

 private:
  using Actions = std::vector<turn::Action>;

  /// A text of a message that is not complete.
  struct GrowingText {
    std::string text;
    std::string line;  ///< its first one
  };

  void ingestPiTextDelta(const pi::TextDelta& delta, std::string_view line, Actions& actions);
  void flushGrowingTexts(Actions& actions);
  void append(GrowingText growing, Actions& actions);
  void flushUsage(Actions& actions);
  void ingestPiMessageEnd(const pi::AssistantMessage& message, std::string_view line, Actions& actions);
  void ingestPiToolEnd(const pi::ToolResult& result, Actions& actions);
  void finish(Actions& actions);

  JsonLineParser parser_;
  std::optional<std::string> sessionId_;
  std::map<std::int64_t, GrowingText> growingTexts_;  ///< by their places in the message
  std::set<std::int64_t> growingThoughts_;            ///< the places of those that were begun
  std::optional<std::string> growingModel_;           ///< which writes the message
  std::set<std::string> toolResults_;                 ///< the calls that have one; each is told twice
  NamelessCalls namelessCalls_;
  std::optional<turn::ApplyUsage> usage_;
  std::optional<turn::Fail> failure_;
  bool hasAgentEnded_ = false;
  bool isOver_ = false;
};

}  // namespace ravant
