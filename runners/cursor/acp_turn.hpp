#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runners/agent_turn.hpp"
#include "runners/cursor/acp_stream_break.hpp"
#include "runners/cursor/acp_wire.hpp"
#include "runners/output_steps.hpp"

namespace ravant {

/// One prompt of an agent of the Agent Client Protocol, as a state machine without input or output.
///
/// What the agent says comes in pieces; a message is stored when something else follows it.
class AcpTurn {
 public:
  /// `previous`: the prompt before it in the same session, whose calls can still be told of.
  explicit AcpTurn(std::string model, const AcpTurn* previous = nullptr);

  std::vector<turn::Action> ingest(const acp::Update& update, std::string_view line);
  /// The agent has answered the prompt.
  std::vector<turn::Action> onPromptEnd(const acp::PromptEnd& end);
  /// The message that was begun.
  std::vector<turn::Action> flushMessageBuffer();
  /// The prompt is over, with an answer or without: what was held back. Thoughts that come later are not announced.
  std::vector<turn::Action> close();

 private:
  using Actions = std::vector<turn::Action>;
  struct Call {
    std::string name;
    std::string input;
    std::string output;
    bool isOutputShown = false;   ///< told as what is to be shown, and not raw
    OutputSteps steps;            ///< in which the output is stored
    bool isOutputUntold = false;  ///< no step has all of it
    ToolInvocationStatus status = ToolInvocationStatus::running;
  };
  using Calls = std::map<std::string, Call>;

  void ingestMessage(const acp::MessageChunk& chunk, std::string_view line, Actions& actions);
  void ingestThought(const acp::MessageChunk& chunk, Actions& actions);
  void beginMessage(const acp::MessageChunk& chunk, std::string_view line);
  void say(const std::string& text, Actions& actions);
  void flush(Actions& actions);
  void store(Actions& actions);
  void noteBreak(Actions& actions);

  void ingestToolCall(const acp::ToolCall& told, std::string_view line, Actions& actions);
  void insert(const acp::ToolCall& told, std::string_view line, Actions& actions);
  static bool takeOutput(Call& call, const acp::ToolCall& told);
  static void update(Call& call, const acp::ToolCall& told, Actions& actions);
  static void updateOlder(OutputSteps& steps, const acp::ToolCall& told, Actions& actions);

  void ingestContext(const acp::ContextUsage& context, Actions& actions);
  std::int64_t withinContext(std::int64_t tokens) const;

  std::optional<std::string> model_;
  std::string messageBuffer_;
  std::string messageLine_;  ///< the first of the message's lines
  std::optional<std::string> messageId_;
  AcpStreamBreak streamBreak_;
  bool isStreamClosed_ = false;  ///< nothing was said since the stream of the agent's model broke
  bool isOver_ = false;
  bool isThinking_ = false;  ///< the last that it said was a thought
  std::optional<std::string> thoughtId_;
  Calls calls_;
  Calls earlierCalls_;                             ///< of the prompt before, which it left without an end
  std::map<std::string, OutputSteps> olderCalls_;  ///< the others of former prompts
  std::optional<std::int64_t> contextSize_;
  std::optional<std::int64_t> contextUsed_;  ///< as told in this turn
};

}  // namespace ravant
