#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "core/store/conversation_model_actor.hpp"
#include "core/store/run_table.hpp"

namespace ravant {

/// The statements that read conversations as a list shows them, for operations that run in a transaction of their own.
/// Those that are not whole are none (see `PartialConversations`).
class ConversationSummaries {
 public:
  /// Both stay with the caller.
  ConversationSummaries(StoreConnection& store, const LivingRuns& livingRuns);

  std::optional<ConversationSummary> find(ConversationId id);
  /// Latest activity first.
  std::vector<ConversationSummary> list(const ConversationQuery& query);
  std::vector<ConversationSummary> withPrefix(std::string_view prefix);

 private:
  std::vector<ConversationSummary> all(sqlite::Query rows) const;

  const LivingRuns& livingRuns_;
  sqlite::Statement one_;
  sqlite::Statement list_;
  sqlite::Statement withPrefix_;
};

}  // namespace ravant
