#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/id.hpp"
#include "core/store/conversation_item_model_actor.hpp"
#include "core/transcript_action.hpp"

namespace ravant {

/// Writes one turn into the store: the one way by which runners write transcripts. All throw
/// `StoreError`.
class TranscriptWriter {
 public:
  TranscriptWriter(const std::shared_ptr<ModelContainer>& modelContainer, ConversationId conversationId);

  /// Marks the run and keeps the prompt. Throws `AgentRunnerError` `busy` where another process runs
  /// one in the conversation, `ConversationGoneError` where it is unknown.
  awaitable<void> begin(std::string prompt, AgentType agent);
  /// All of the actions are stored when this returns, or none of them. Throws
  /// `ConversationGoneError`.
  awaitable<void> store(std::vector<TranscriptAction> actions);
  /// Takes the mark off; tool calls without a result fail with `unfinishedToolOutput`. Throws `ConversationGoneError`.
  awaitable<void> end(std::string unfinishedToolOutput);

 private:
  ConversationId conversationId_;
  std::shared_ptr<ConversationItemModelActor> items_;
};

}  // namespace ravant
