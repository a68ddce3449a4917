#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "runners/agent_turn.hpp"
#include "runners/cursor/acp_wire.hpp"

namespace ravant {

/// One prompt of an agent of the Agent Client Protocol, as a state machine without input or output.
///
/// What the agent says comes in pieces; a message is stored when something else follows it.
class AcpTurn {
 public:
  /// `previous`: the prompt before it in the same session, whose calls can still be told of, and whose figures stand
  /// until there are new ones.
  explicit AcpTurn(std::string model, const AcpTurn* previous = nullptr);

  std::vector<turn::Action> ingest(const acp::Update& update, std::string_view line);
  /// The agent has answered the prompt.
  std::vector<turn::Action> onPromptEnd(const acp::PromptEnd& end);
  /// The message that was begun, for a turn that ends without an answer.
  std::vector<turn::Action> flushMessageBuffer();

 private:
  using Actions = std::vector<turn::Action>;
  struct Call {
    std::string name;
    std::string input;
    std::string output;
    bool isOutputShown = false;  ///< told as what is to be shown, and not raw
    ToolInvocationStatus status = ToolInvocationStatus::running;
  };

  void ingestChunk(const acp::MessageChunk& chunk, std::string_view line, Actions& actions);
  void ingestToolCall(const acp::ToolCall& told, std::string_view line, Actions& actions);
  void insert(const acp::ToolCall& told, std::string_view line, Actions& actions);
  static bool takeOutput(Call& call, const acp::ToolCall& told);
  void update(Call& call, const acp::ToolCall& told, Actions& actions);
  void flush(Actions& actions);
  void ingestContext(const acp::ContextUsage& context, Actions& actions);
  void applyUsage(std::optional<std::string> messageId, Actions& actions);

  std::string model_;
  std::string messageBuffer_;
  std::string messageLine_;  ///< the first of the message's lines
  std::optional<std::string> messageId_;
  std::map<std::string, Call> calls_;
  std::set<std::string> earlierCalls_;
  TokenUsageSnapshot usage_;
  bool isStreamClosed_ = false;  ///< the agent's last words were that its model's stream broke
};

}  // namespace ravant
