#include "core/store/item_table.hpp"

#include "core/store/row_values.hpp"

namespace ravant {
namespace {

std::optional<Timestamp> completionTime(ToolInvocationStatus status, Timestamp now) {
  return status == ToolInvocationStatus::running ? std::nullopt : std::optional(now);
}

std::optional<std::int64_t> bound(const std::optional<Timestamp>& time) {
  return time ? std::optional(ravant::bound(*time)) : std::nullopt;
}

using ravant::bound;

}  // namespace

ItemTable::ItemTable(StoreConnection& store)
    : store_(store),
      insertItem_(store.prepare(
          "INSERT INTO conversation_item (conversation_id, kind, created_at, agent_model, provider_message_id, text, "
          "raw_json) VALUES (?1, ?2, max(?3, coalesce((SELECT max(created_at) FROM conversation_item "
          "WHERE conversation_id = ?1), 0)), nullif(?4, ''), nullif(?5, ''), ?6, ?7)")),
      insertBlock_(store.prepare(
          "INSERT INTO message_block (message_id, position, kind, language, text) VALUES (?, ?, ?, ?, ?)")),
      last_(store.prepare("SELECT id FROM conversation_item WHERE conversation_id = ? "
                          "ORDER BY created_at DESC, id DESC LIMIT 1")),
      isLastGroup_(
          store.prepare("SELECT 1 FROM (SELECT id, kind FROM conversation_item WHERE conversation_id = ?2 "
                        "ORDER BY created_at DESC, id DESC LIMIT 1) WHERE id = ?1 AND kind = 'toolInvocationGroup'")),
      insertInvocation_(store.prepare(
          "INSERT INTO tool_invocation (group_id, conversation_id, created_at, completed_at, status_raw_value, "
          "tool_name, tool_call_id, text, input, output, raw_json) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")),
      newestInvocation_(store.prepare("SELECT id FROM tool_invocation WHERE conversation_id = ? AND tool_call_id = ? "
                                      "ORDER BY status_raw_value = 'running' DESC, id DESC LIMIT 1")),
      updateInvocation_(
          store.prepare("UPDATE tool_invocation SET tool_name = coalesce(?1, tool_name), text = coalesce(?1, text), "
                        "input = coalesce(?2, input), output = coalesce(?3, output) WHERE id = ?4")),
      finishInvocation_(
          store.prepare("UPDATE tool_invocation SET status_raw_value = ?, output = ?, completed_at = ? WHERE id = ?")),
      endUnfinished_(
          store.prepare("UPDATE tool_invocation SET status_raw_value = 'failed', completed_at = ?2, output = CASE "
                        "WHEN coalesce(output, '') = '' THEN ?1 WHEN substr(output, -1) = char(10) THEN output || ?1 "
                        "ELSE output || char(10) || ?1 END WHERE id = ?3")),
      runningInvocations_(store.prepare(
          "SELECT id FROM tool_invocation WHERE conversation_id = ? AND status_raw_value = 'running' ORDER BY id")),
      newestRunningInvocation_(store.prepare("SELECT id, created_at FROM tool_invocation WHERE conversation_id = ? "
                                             "AND status_raw_value = 'running' ORDER BY id DESC LIMIT 1")),
      latestMessage_(
          store.prepare("SELECT id FROM conversation_item WHERE conversation_id = ? AND provider_message_id = ? "
                        "ORDER BY created_at DESC, id LIMIT 1")),
      applyTokenUsage_(
          store.prepare("UPDATE conversation_item SET input_tokens = ?, output_tokens = ?, cache_read_tokens = ?, "
                        "cache_creation_tokens = ?, used_tokens = ?, total_processed_tokens = ? WHERE id = ?")) {}

ConversationItemId ItemTable::insert(const NewItem& item, Timestamp now) {
  insertItem_.run(bound(item.conversation), rawValue(item.kind), bound(now), item.agentModel, item.providerMessageId,
                  item.text, item.rawJSON);
  return ConversationItemId(store_.lastInsertRowId());
}

void ItemTable::insertBlock(ConversationItemId message, const MessageBlock& block) {
  insertBlock_.run(bound(message), block.index, rawValue(block.kind), block.language, block.text);
}

std::optional<ConversationItemId> ItemTable::last(ConversationRow conversation) {
  auto row = last_.query(bound(conversation));
  return row.step() ? std::optional(readId<ConversationItemId>(row, 0)) : std::nullopt;
}

bool ItemTable::isLastGroup(ConversationItemId id, ConversationRow conversation) {
  return isLastGroup_.query(bound(id), bound(conversation)).step();
}

ToolInvocationId ItemTable::insert(const NewInvocation& invocation, Timestamp now) {
  insertInvocation_.run(bound(invocation.group), bound(invocation.conversation), bound(now),
                        bound(completionTime(invocation.status, now)), rawValue(invocation.status), invocation.toolName,
                        invocation.toolCallId, invocation.text, invocation.input, invocation.output,
                        invocation.rawJSON);
  return ToolInvocationId(store_.lastInsertRowId());
}

std::optional<ToolInvocationId> ItemTable::newestInvocation(ConversationRow conversation, std::string_view toolCallId) {
  auto row = newestInvocation_.query(bound(conversation), toolCallId);
  return row.step() ? std::optional(ToolInvocationId(row.int64(0))) : std::nullopt;
}

void ItemTable::update(ToolInvocationId id, const turn::UpdateToolInvocation& update) {
  updateInvocation_.run(update.toolName, update.input, update.output, bound(id));
}

void ItemTable::complete(ToolInvocationId id, std::string_view output, Timestamp at) {
  finish(id, ToolInvocationStatus::completed, output, at);
}

void ItemTable::fail(ToolInvocationId id, std::string_view output, Timestamp at) {
  finish(id, ToolInvocationStatus::failed, output, at);
}

void ItemTable::finish(ToolInvocationId id, ToolInvocationStatus status, std::string_view output, Timestamp at) {
  finishInvocation_.run(rawValue(status), output, bound(at), bound(id));
}

void ItemTable::endUnfinished(ToolInvocationId id, std::string_view notice, Timestamp at) {
  endUnfinished_.run(notice, bound(at), bound(id));
}

std::vector<ToolInvocationId> ItemTable::runningInvocations(ConversationRow conversation) {
  std::vector<ToolInvocationId> running;
  auto row = runningInvocations_.query(bound(conversation));
  while (row.step()) running.emplace_back(row.int64(0));
  return running;
}

std::optional<RunningInvocation> ItemTable::newestRunningInvocation(ConversationRow conversation) {
  auto row = newestRunningInvocation_.query(bound(conversation));
  if (!row.step()) return std::nullopt;
  return RunningInvocation{.id = readId<ToolInvocationId>(row, 0), .since = readTime(row, 1)};
}

std::optional<ConversationItemId> ItemTable::latestMessage(ConversationRow conversation,
                                                           std::string_view providerMessageId) {
  auto row = latestMessage_.query(bound(conversation), providerMessageId);
  return row.step() ? std::optional(ConversationItemId(row.int64(0))) : std::nullopt;
}

void ItemTable::applyTokenUsage(ConversationItemId message, const TokenUsageSnapshot& snapshot) {
  applyTokenUsage_.run(snapshot.inputTokens, snapshot.outputTokens, snapshot.cacheReadTokens,
                       snapshot.cacheCreationTokens, snapshot.usedTokens, snapshot.totalProcessedTokens,
                       bound(message));
}

}  // namespace ravant
