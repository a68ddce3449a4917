#pragma once

#include <vector>

#include "core/store/conversation_table.hpp"
#include "core/transcript_entry.hpp"

namespace ravant {

/// Reads conversations for agents that keep no session of their own, for operations that run in a transaction of
/// their own.
class TranscriptReplay {
 public:
  explicit TranscriptReplay(StoreConnection& store);

  /// What the user, the agent and its tools said, oldest first.
  std::vector<TranscriptEntry> entries(ConversationRow conversation);

 private:
  sqlite::Statement entries_;
};

}  // namespace ravant
