#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/agent_type.hpp"
#include "core/conversation_item.hpp"
#include "core/late_result.hpp"

namespace ravant {

/// What a conversation holds already, to be held against what its agent's file has.
class StoredTurns {
 public:
  explicit StoredTurns(AgentType agent) : agent_(agent) {}

  /// The stored items, in their order.
  void add(const ConversationItem& item);

  /// Whether the turn, which is not empty, is one that a prompt of this program made. Each prompt makes one.
  bool isRunHere(const std::vector<ConversationItem>& turn);

  /// Takes out what is stored, which was made of the same line; each stored item stands for one. Hands over the results
  /// that stored calls have failed for want of.
  std::vector<LateResult> dropKnown(std::vector<ConversationItem>& turn);

 private:
  struct Run {
    std::string prompt;
    Timestamp begin;
    Timestamp end;     ///< the last of what came of it
    Timestamp latest;  ///< when its agent may have written it down
    bool isOver = false;
    bool isFound = false;
  };

  bool isOwnPrompt(const ConversationItem& item) const;
  bool takeKnown(std::size_t fingerprint);

  AgentType agent_;
  std::vector<Run> runs_;
  bool isInRun_ = false;
  std::unordered_map<std::size_t, int> known_;      ///< how often each is there, by fingerprints
  std::unordered_set<std::size_t> withoutResults_;  ///< the calls that failed for want of one
};

}  // namespace ravant
