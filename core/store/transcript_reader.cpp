#include "core/store/transcript_reader.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"

namespace ravant {
namespace {

// The columns of both are in the order of the functions that read them.
std::string selectItems(std::string_view rest) {
  return fmt::format(
      "SELECT item.id, conversation.uuid, item.raw_json, item.created_at, item.text, item.kind, item.agent_model, "
      "item.provider_message_id, item.input_tokens, item.output_tokens, item.cache_read_tokens, "
      "item.cache_creation_tokens, item.used_tokens, item.total_processed_tokens, item.end_reason, item.ended_at FROM "
      "conversation_item AS item "
      "JOIN conversation ON conversation.id = item.conversation_id {}",
      rest);
}

std::string selectInvocations(std::string_view condition) {
  return fmt::format(
      "SELECT id, raw_json, text, created_at, tool_name, tool_call_id, input, output, status_raw_value, "
      "completed_at, group_id FROM tool_invocation WHERE {} ORDER BY id",
      condition);
}

ToolInvocation readInvocation(const sqlite::Query& row) {
  return {.id = readId<ToolInvocationId>(row, 0),
          .rawJSON = readText(row, 1),
          .text = readText(row, 2),
          .createdAt = readTime(row, 3),
          .toolName = readText(row, 4),
          .toolCallId = readText(row, 5),
          .input = readOptionalText(row, 6),
          .output = readOptionalText(row, 7),
          .status = toolInvocationStatusFromRawValue(row.text(8)).value(),
          .completedAt = readOptionalTime(row, 9),
          .parentGroup = readId<ConversationItemId>(row, 10)};
}

UserMessage readPrompt(const sqlite::Query& row) {
  UserMessage prompt{.endReason = {}, .endedAt = readOptionalTime(row, 15)};
  if (!row.isNull(14)) prompt.endReason = promptOutcomeFromRawValue(row.text(14)).value();
  return prompt;
}

AgentMessage readMessage(const sqlite::Query& row) {
  return {.agentModel = readOptionalText(row, 6),
          .providerMessageId = readOptionalText(row, 7),
          .inputTokens = row.optionalInt64(8),
          .outputTokens = row.optionalInt64(9),
          .cacheReadTokens = row.optionalInt64(10),
          .cacheCreationTokens = row.optionalInt64(11),
          .usedTokens = row.optionalInt64(12),
          .totalProcessedTokens = row.optionalInt64(13),
          .blocks = {}};
}

}  // namespace

/// The queries themselves, run one after another on the reader's strand.
class TranscriptReadings {
 public:
  explicit TranscriptReadings(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        lastItems_(store_.prepare(
            selectItems("WHERE conversation.uuid = ? ORDER BY item.created_at DESC, item.id DESC LIMIT ?"))),
        oneItem_(store_.prepare(selectItems("WHERE item.id = ?"))),
        promptOf_(store_.prepare(selectItems(
            "WHERE item.kind = 'userMessage' "
            "AND item.conversation_id = (SELECT conversation_id FROM conversation_item WHERE id = ?1) "
            "AND (item.created_at, item.id) <= (SELECT created_at, id FROM conversation_item WHERE id = ?1) "
            "ORDER BY item.created_at DESC, item.id DESC LIMIT 1"))),
        blocks_(store_.prepare(
            "SELECT text, language, position, kind FROM message_block WHERE message_id = ? ORDER BY position")),
        invocationsOf_(store_.prepare(selectInvocations("group_id = ?"))),
        oneInvocation_(store_.prepare(selectInvocations("id = ?"))) {}

  std::vector<ConversationItem> items(ConversationId conversationId, std::optional<std::int64_t> last) {
    return store_.read([&] {
      std::vector<ConversationItem> found;
      auto row = lastItems_.query(bound(conversationId), last.value_or(-1));
      while (row.step()) found.push_back(readItem(row));
      std::ranges::reverse(found);
      return found;
    });
  }

  std::optional<ConversationItem> item(ConversationItemId id) {
    return store_.read([&] {
      auto row = oneItem_.query(bound(id));
      return row.step() ? std::optional(readItem(row)) : std::nullopt;
    });
  }

  std::optional<ConversationItem> promptOf(ConversationItemId id) {
    return store_.read([&] {
      auto row = promptOf_.query(bound(id));
      return row.step() ? std::optional(readItem(row)) : std::nullopt;
    });
  }

  std::optional<ToolInvocation> invocation(ToolInvocationId id) {
    return store_.read([&] {
      auto row = oneInvocation_.query(bound(id));
      return row.step() ? std::optional(readInvocation(row)) : std::nullopt;
    });
  }

 private:
  ConversationItem readItem(const sqlite::Query& row) {
    const auto id = readId<ConversationItemId>(row, 0);
    return {.id = id,
            .conversation = readId<ConversationId>(row, 1),
            .rawJSON = readText(row, 2),
            .createdAt = readTime(row, 3),
            .text = readText(row, 4),
            .detail = readDetail(id, row)};
  }

  ConversationItem::Detail readDetail(ConversationItemId id, const sqlite::Query& row) {
    switch (conversationItemKindFromRawValue(row.text(5)).value()) {
      case ConversationItemKind::userMessage:
        return readPrompt(row);
      case ConversationItemKind::agentMessage: {
        AgentMessage message = readMessage(row);
        message.blocks = readBlocks(id);
        return message;
      }
      case ConversationItemKind::toolInvocationGroup:
        return ToolInvocationGroup{readInvocations(id)};
      case ConversationItemKind::compactionEvent:
        return CompactionEvent{};
      case ConversationItemKind::failureEvent:
        return FailureEvent{};
    }
    __builtin_unreachable();
  }

  std::vector<MessageBlock> readBlocks(ConversationItemId message) {
    std::vector<MessageBlock> blocks;
    auto row = blocks_.query(bound(message));
    while (row.step()) {
      blocks.push_back({.text = readText(row, 0),
                        .language = readOptionalText(row, 1),
                        .index = row.int64(2),
                        .kind = messageBlockKindFromRawValue(row.text(3)).value()});
    }
    return blocks;
  }

  std::vector<ToolInvocation> readInvocations(ConversationItemId group) {
    std::vector<ToolInvocation> invocations;
    auto row = invocationsOf_.query(bound(group));
    while (row.step()) invocations.push_back(readInvocation(row));
    return invocations;
  }

  StoreConnection store_;
  sqlite::Statement lastItems_;
  sqlite::Statement oneItem_;
  sqlite::Statement promptOf_;
  sqlite::Statement blocks_;
  sqlite::Statement invocationsOf_;
  sqlite::Statement oneInvocation_;
};

std::shared_ptr<TranscriptReader> TranscriptReader::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<TranscriptReader>(std::move(modelContainer));
}

TranscriptReader::TranscriptReader(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

TranscriptReader::~TranscriptReader() = default;

awaitable<std::vector<ConversationItem>> TranscriptReader::items(ConversationId conversationId,
                                                                 std::optional<std::int64_t> last) {
  return perform([=](auto& readings) { return readings.items(conversationId, last); });
}

awaitable<std::optional<ConversationItem>> TranscriptReader::item(ConversationItemId id) {
  return perform([=](auto& readings) { return readings.item(id); });
}

awaitable<std::optional<ConversationItem>> TranscriptReader::promptOf(ConversationItemId id) {
  return perform([=](auto& readings) { return readings.promptOf(id); });
}

awaitable<std::optional<ToolInvocation>> TranscriptReader::invocation(ToolInvocationId id) {
  return perform([=](auto& readings) { return readings.invocation(id); });
}

}  // namespace ravant
