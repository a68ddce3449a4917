#include "core/store/conversation_table.hpp"

#include "core/store/row_values.hpp"

namespace ravant {

ConversationTable::ConversationTable(StoreConnection& store)
    : find_(store.prepare("SELECT id FROM conversation WHERE uuid = ? AND importer IS NULL")),
      touchLastActivity_(store.prepare("UPDATE conversation SET last_activity_at = ? WHERE id = ?")),
      touchLastPrompt_(
          store.prepare("UPDATE conversation SET last_prompt_at = ?1, last_activity_at = ?1 WHERE id = ?2")),
      updateTokenUsage_(store.prepare(
          "UPDATE conversation SET last_used_tokens = ?, last_total_processed_tokens = ?, last_input_tokens = ?, "
          "last_output_tokens = ?, last_cache_read_tokens = ?, last_cache_creation_tokens = ?, "
          "last_usage_updated_at = ? WHERE id = ?")),
      updateContextWindow_(
          store.prepare("UPDATE conversation SET last_max_tokens = ?, last_usage_updated_at = ? WHERE id = ?")),
      updateContextUse_(
          store.prepare("UPDATE conversation SET last_used_tokens = ?, last_usage_updated_at = ? WHERE id = ?")),
      updateResumedSessionId_(
          store.prepare("UPDATE conversation SET agent_resumed_session_id = nullif(?, '') WHERE id = ?")),
      updateLastPromptSettings_(
          store.prepare("UPDATE conversation SET last_used_model = ?, last_used_effort_raw_value = ? WHERE id = ?")),
      look_(store.prepare("UPDATE conversation SET (seen_item_id, seen_item_at) = (SELECT id, created_at FROM "
                          "conversation_item WHERE id = ?2) WHERE id = ?1 AND seen_item_id < (SELECT id FROM "
                          "conversation_item WHERE id = ?2 AND conversation_id = ?1) RETURNING 1")),
      setArchived_(store.prepare("UPDATE conversation SET archived = ? WHERE id = ?")),
      rename_(store.prepare("UPDATE conversation SET title = ? WHERE id = ?")),
      remove_(store.prepare("DELETE FROM conversation WHERE id = ?")),
      removeSomeItems_(
          store.prepare("DELETE FROM conversation_item WHERE id IN (SELECT id FROM conversation_item "
                        "WHERE conversation_id = ? ORDER BY created_at DESC, id DESC LIMIT 100) RETURNING 1")) {}

std::optional<ConversationRow> ConversationTable::find(ConversationId id) {
  auto row = find_.query(bound(id));
  return row.step() ? std::optional(ConversationRow(row.int64(0))) : std::nullopt;
}

void ConversationTable::touchLastActivity(ConversationRow row, Timestamp now) {
  touchLastActivity_.run(bound(now), bound(row));
}

void ConversationTable::touchLastPrompt(ConversationRow row, Timestamp now) {
  touchLastPrompt_.run(bound(now), bound(row));
}

void ConversationTable::updateTokenUsage(ConversationRow row, const TokenUsageSnapshot& snapshot, Timestamp now) {
  updateTokenUsage_.run(snapshot.usedTokens, snapshot.totalProcessedTokens, snapshot.inputTokens, snapshot.outputTokens,
                        snapshot.cacheReadTokens, snapshot.cacheCreationTokens, bound(now), bound(row));
}

void ConversationTable::updateContextWindow(ConversationRow row, std::int64_t maxTokens, Timestamp now) {
  updateContextWindow_.run(maxTokens, bound(now), bound(row));
}

void ConversationTable::updateContextUse(ConversationRow row, std::int64_t usedTokens, Timestamp now) {
  updateContextUse_.run(usedTokens, bound(now), bound(row));
}

void ConversationTable::updateResumedSessionId(ConversationRow row, const std::optional<std::string>& sessionId) {
  updateResumedSessionId_.run(sessionId, bound(row));
}

void ConversationTable::updateLastPromptSettings(ConversationRow row, std::string_view modelId,
                                                 const std::optional<std::string>& effort) {
  updateLastPromptSettings_.run(modelId, effort, bound(row));
}

bool ConversationTable::look(ConversationRow row, ConversationItemId upTo) {
  return look_.query(bound(row), bound(upTo)).step();
}

void ConversationTable::setArchived(ConversationRow row, bool archived) { setArchived_.run(archived, bound(row)); }

void ConversationTable::rename(ConversationRow row, const std::optional<std::string>& title) {
  rename_.run(title, bound(row));
}

void ConversationTable::remove(ConversationRow row) { remove_.run(bound(row)); }

bool ConversationTable::removeSomeItems(ConversationRow row) { return removeSomeItems_.query(bound(row)).step(); }

}  // namespace ravant
