#include "core/store/item_insertion.hpp"

#include "core/store/row_values.hpp"

namespace ravant {
namespace {

std::optional<std::int64_t> bound(const std::optional<Timestamp>& time) {
  return time ? std::optional(ravant::bound(*time)) : std::nullopt;
}

using ravant::bound;

}  // namespace

ItemInsertion::ItemInsertion(StoreConnection& store)
    : store_(store),
      insertItem_(store.prepare(
          "INSERT INTO conversation_item (conversation_id, kind, created_at, text, raw_json, end_reason, ended_at, "
          "agent_model, provider_message_id, input_tokens, output_tokens, cache_read_tokens, cache_creation_tokens, "
          "used_tokens, total_processed_tokens) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")),
      insertBlock_(store.prepare(
          "INSERT INTO message_block (message_id, position, kind, language, text) VALUES (?, ?, ?, ?, ?)")),
      insertInvocation_(store.prepare(
          "INSERT INTO tool_invocation (group_id, conversation_id, created_at, completed_at, status_raw_value, "
          "tool_name, tool_call_id, text, input, output, raw_json) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")) {}

void ItemInsertion::insert(ConversationRow conversation, const ConversationItem& item, Timestamp at) {
  static const UserMessage kNoPrompt;
  static const AgentMessage kNoMessage;
  const auto* prompt = std::get_if<UserMessage>(&item.detail);
  const auto* message = std::get_if<AgentMessage>(&item.detail);
  insertItem(conversation, item, at, prompt ? *prompt : kNoPrompt, message ? *message : kNoMessage);
  const std::int64_t row = store_.lastInsertRowId();
  if (message) {
    for (const MessageBlock& block : message->blocks) {
      insertBlock_.run(row, block.index, rawValue(block.kind), block.language, block.text);
    }
  } else if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
    for (const ToolInvocation& call : group->invocations) {
      insertInvocation_.run(row, bound(conversation), bound(call.createdAt), bound(call.completedAt),
                            rawValue(call.status), call.toolName, call.toolCallId, call.text, call.input, call.output,
                            call.rawJSON);
    }
  }
}

void ItemInsertion::insertItem(ConversationRow conversation, const ConversationItem& item, Timestamp at,
                               const UserMessage& prompt, const AgentMessage& message) {
  const auto endReason = prompt.endReason.transform([](PromptOutcome outcome) { return rawValue(outcome); });
  insertItem_.run(bound(conversation), rawValue(kindOf(item)), bound(at), item.text, item.rawJSON, endReason,
                  bound(prompt.endedAt), message.agentModel, message.providerMessageId, message.inputTokens,
                  message.outputTokens, message.cacheReadTokens, message.cacheCreationTokens, message.usedTokens,
                  message.totalProcessedTokens);
}

}  // namespace ravant
