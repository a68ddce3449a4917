#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/conversation_item.hpp"
#include "core/late_result.hpp"
#include "core/turn_action.hpp"

namespace ravant {

/// The items of one turn, made of what an agent's records ask for as the store makes them of a run. Times never go
/// back.
class SessionItems {
 public:
  /// Of what is added from now on.
  void setTime(Timestamp at);

  void addPrompt(std::string_view rawJSON, std::string text);
  /// The failure in the words of its error.
  void addFailure(std::string_view rawJSON, std::string_view error);
  /// Of a record. What is said of the session itself, and what only a window shows, is passed over.
  /// `begunAt`: when the calls began that are told with their results; at once, where it is not known.
  void apply(std::vector<turn::Action> actions, std::string_view line, std::optional<Timestamp> begunAt = {});
  /// The calls without a result have failed.
  void endCalls(std::string_view notice);

  std::vector<ConversationItem> take() { return std::move(items_); }
  /// Results of calls that are not in the turn.
  const std::vector<LateResult>& strayResults() const { return strayResults_; }

  const std::optional<std::string>& model() const { return model_; }
  const std::optional<TokenUsageSnapshot>& usage() const { return usage_; }
  Timestamp usageAt() const { return usageAt_; }
  std::optional<std::int64_t> contextWindow() const { return contextWindow_; }

 private:
  void add(std::string_view rawJSON, std::string text, ConversationItem::Detail detail);
  void append(turn::AppendAgentMessage message);
  void append(turn::AppendToolInvocation call, std::optional<Timestamp> begunAt);
  void update(const turn::UpdateToolInvocation& update);
  void complete(turn::CompleteToolInvocation result);
  void apply(const turn::ApplyUsage& usage);
  ToolInvocation* newestCall(const std::string& callId);

  struct CallPlace {
    std::size_t item;
    std::size_t call;  ///< in the group
  };

  Timestamp now_{};
  std::vector<ConversationItem> items_;
  std::unordered_map<std::string, std::size_t> messages_;          ///< the newest ones' places, by their ids
  std::unordered_map<std::string, std::vector<CallPlace>> calls_;  ///< by their ids
  std::vector<LateResult> strayResults_;
  std::optional<std::string> model_;
  std::optional<TokenUsageSnapshot> usage_;
  Timestamp usageAt_{};
  std::optional<std::int64_t> contextWindow_;
};

}  // namespace ravant
