#include "core/store/transcript_reader.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <unordered_map>

#include "core/store/held_bytes.hpp"
#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"

namespace ravant {
namespace {

/// Of a page, in bytes: what has as much is not added to.
constexpr std::size_t kFullPage = 1024 * 1024;

// The columns of both are in the order of the functions that read them.
std::string selectItems(std::string_view rest) {
  return fmt::format(
      "SELECT item.id, conversation.uuid, item.raw_json, item.created_at, item.text, item.kind, item.agent_model, "
      "item.provider_message_id, item.input_tokens, item.output_tokens, item.cache_read_tokens, "
      "item.cache_creation_tokens, item.used_tokens, item.total_processed_tokens, item.end_reason, item.ended_at FROM "
      "conversation_item AS item "
      "JOIN conversation ON conversation.id = item.conversation_id AND conversation.importer IS NULL {}",
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

/// An item behind which fewer follow has its place counted from the end, for most places that are asked for are there.
constexpr std::int64_t kNearEnd = 100;

}  // namespace

/// The queries themselves, run one after another on the reader's strand.
class TranscriptReadings {
 public:
  explicit TranscriptReadings(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        lastItems_(store_.prepare(
            selectItems("WHERE conversation.uuid = ? ORDER BY item.created_at DESC, item.id DESC LIMIT ?"))),
        timeOf_(
            store_.prepare("SELECT item.created_at FROM conversation_item AS item JOIN conversation "
                           "ON conversation.id = item.conversation_id WHERE conversation.uuid = ? AND item.id = ?")),
        // Compared as pairs, time and id would be looked up by the time alone.
        sameTimeBefore_(store_.prepare(selectItems(
            "WHERE conversation.uuid = ? AND item.created_at = ? AND item.id < ? ORDER BY item.id DESC LIMIT ?"))),
        earlier_(store_.prepare(selectItems("WHERE conversation.uuid = ? AND item.created_at < ? "
                                            "ORDER BY item.created_at DESC, item.id DESC LIMIT ?"))),
        sameTimeAfter_(store_.prepare(selectItems(
            "WHERE conversation.uuid = ? AND item.created_at = ? AND item.id > ? ORDER BY item.id LIMIT ?"))),
        later_(store_.prepare(selectItems("WHERE conversation.uuid = ? AND item.created_at > ? "
                                          "ORDER BY item.created_at, item.id LIMIT ?"))),
        atOrBehind_(store_.prepare(
            "SELECT conversation.item_count, (SELECT count(*) FROM (SELECT 1 FROM conversation_item AS behind WHERE "
            "behind.conversation_id = item.conversation_id AND (behind.created_at, behind.id) >= (item.created_at, "
            "item.id) LIMIT ?2)) FROM conversation_item AS item JOIN conversation ON conversation.id = "
            "item.conversation_id WHERE item.id = ?1")),
        position_(
            store_.prepare("SELECT (SELECT count(*) FROM conversation_item AS before WHERE before.conversation_id = "
                           "item.conversation_id AND (before.created_at, before.id) < (item.created_at, item.id)) "
                           "FROM conversation_item AS item WHERE item.id = ?")),
        count_(store_.prepare("SELECT item_count FROM conversation WHERE uuid = ? AND importer IS NULL")),
        beforeLast_(store_.prepare("SELECT id FROM conversation_item WHERE conversation_id = "
                                   "(SELECT id FROM conversation WHERE uuid = ? AND importer IS NULL) ORDER BY "
                                   "created_at DESC, id DESC LIMIT 1 OFFSET ?")),
        ordered_(store_.prepare("SELECT id FROM conversation_item WHERE conversation_id = "
                                "(SELECT id FROM conversation WHERE uuid = ?1 AND importer IS NULL) "
                                "AND (created_at, id) > (?2, ?3) ORDER BY created_at, id")),
        failures_(store_.prepare(
            "SELECT id, 'interrupted' IS (SELECT end_reason FROM conversation_item WHERE kind = 'userMessage' AND "
            "conversation_id = failure.conversation_id AND (created_at, id) < (failure.created_at, failure.id) "
            "ORDER BY created_at DESC, id DESC LIMIT 1) "
            "FROM conversation_item AS failure WHERE kind = 'failureEvent' AND conversation_id = "
            "(SELECT id FROM conversation WHERE uuid = ? AND importer IS NULL)")),
        prompts_(store_.prepare("SELECT id FROM conversation_item WHERE kind = 'userMessage' AND conversation_id = "
                                "(SELECT id FROM conversation WHERE uuid = ?1 AND importer IS NULL) "
                                "AND (created_at, id) > (?2, ?3)")),
        last_(store_.prepare("SELECT id, kind FROM conversation_item WHERE conversation_id = (SELECT id FROM "
                             "conversation WHERE uuid = ?) ORDER BY created_at DESC, id DESC LIMIT 1")),
        latestAdded_(store_.prepare("SELECT seq FROM sqlite_sequence WHERE name = 'conversation_item'")),
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
      readAll(lastItems_.query(bound(conversationId), last.value_or(-1)), found);
      std::ranges::reverse(found);
      return found;
    });
  }

  std::vector<ConversationItem> page(ConversationId conversationId, std::optional<ConversationItemId> anchor,
                                     PageDirection direction, std::int64_t limit) {
    limit = std::max<std::int64_t>(limit, 0);
    return store_.read([&] {
      Page page(*this, limit);
      const auto conversation = bound(conversationId);
      const auto time = anchor ? timeOf(conversationId, *anchor) : std::nullopt;
      if (anchor && !time) return std::move(page.items);
      if (direction == PageDirection::before) {
        if (anchor) {
          page.add(sameTimeBefore_.query(conversation, *time, bound(*anchor), limit));
          page.add(earlier_.query(conversation, *time, limit));
        } else {
          page.add(lastItems_.query(conversation, limit));
        }
        std::ranges::reverse(page.items);
      } else {
        if (anchor) page.add(sameTimeAfter_.query(conversation, *time, bound(*anchor), limit));
        page.add(later_.query(conversation, time.value_or(std::numeric_limits<std::int64_t>::min()), limit));
      }
      return std::move(page.items);
    });
  }

  std::optional<std::int64_t> position(ConversationItemId id) {
    return store_.read([&]() -> std::optional<std::int64_t> {
      auto counted = atOrBehind_.query(bound(id), kNearEnd);
      if (!counted.step()) return std::nullopt;
      if (counted.int64(1) < kNearEnd) return counted.int64(0) - counted.int64(1);
      auto row = position_.query(bound(id));
      return row.step() ? row.optionalInt64(0) : std::nullopt;
    });
  }

  std::int64_t count(ConversationId conversationId) {
    return store_.read([&] {
      auto row = count_.query(bound(conversationId));
      return row.step() ? row.int64(0) : 0;
    });
  }

  std::optional<ConversationItemId> beforeLast(ConversationId conversationId, std::int64_t count) {
    return store_.read([&] {
      auto row = beforeLast_.query(bound(conversationId), count);
      return row.step() ? std::optional(readId<ConversationItemId>(row, 0)) : std::nullopt;
    });
  }

  TranscriptMarks marks(ConversationId conversationId, std::optional<ConversationItemId> behind) {
    return store_.read([&] {
      TranscriptMarks found;
      const auto conversation = bound(conversationId);
      const auto time = behind ? timeOf(conversationId, *behind) : std::nullopt;
      if (behind && !time) return found;
      const auto from = time.value_or(std::numeric_limits<std::int64_t>::min());
      const auto anchor = bound(behind.value_or(ConversationItemId(0)));
      std::unordered_map<ConversationItemId, TranscriptMark> marks;
      for (auto row = failures_.query(conversation); row.step();) {
        marks[readId<ConversationItemId>(row, 0)] = {
            .position = 0, .kind = ConversationItemKind::failureEvent, .isInterrupted = row.int64(1) != 0};
      }
      for (auto row = prompts_.query(conversation, from, anchor); row.step();) {
        marks[readId<ConversationItemId>(row, 0)] = {.position = 0, .kind = ConversationItemKind::userMessage};
      }
      found.last = behind;
      for (auto row = ordered_.query(conversation, from, anchor); row.step(); ++found.items) {
        found.last = readId<ConversationItemId>(row, 0);
        const auto mark = marks.find(*found.last);
        if (mark == marks.end()) continue;
        found.marks.push_back(mark->second);
        found.marks.back().position = found.items;
      }
      return found;
    });
  }

  std::optional<LastItem> last(ConversationId conversationId) {
    return store_.read([&]() -> std::optional<LastItem> {
      auto row = last_.query(bound(conversationId));
      if (!row.step()) return std::nullopt;
      return LastItem{.id = readId<ConversationItemId>(row, 0),
                      .kind = conversationItemKindFromRawValue(row.text(1)).value()};
    });
  }

  ConversationItemId latestAdded() {
    return store_.read([&] {
      auto row = latestAdded_.query();
      return row.step() ? readId<ConversationItemId>(row, 0) : ConversationItemId(0);
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
  struct Page {
    Page(TranscriptReadings& readings, std::int64_t limit)
        : readings(readings), limit(static_cast<std::size_t>(limit)) {}

    void add(sqlite::Query row) {
      while (items.size() < limit && bytes < kFullPage && row.step()) {
        items.push_back(readings.readItem(row));
        bytes += heldBytes(items.back());
      }
    }

    TranscriptReadings& readings;
    std::size_t limit;
    std::size_t bytes = 0;
    std::vector<ConversationItem> items = {};
  };

  std::optional<std::int64_t> timeOf(ConversationId conversation, ConversationItemId item) {
    auto row = timeOf_.query(bound(conversation), bound(item));
    return row.step() ? row.optionalInt64(0) : std::nullopt;
  }

  void readAll(sqlite::Query row, std::vector<ConversationItem>& found) {
    while (row.step()) found.push_back(readItem(row));
  }

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
  sqlite::Statement timeOf_;
  sqlite::Statement sameTimeBefore_;
  sqlite::Statement earlier_;
  sqlite::Statement sameTimeAfter_;
  sqlite::Statement later_;
  sqlite::Statement atOrBehind_;
  sqlite::Statement position_;
  sqlite::Statement count_;
  sqlite::Statement beforeLast_;
  sqlite::Statement ordered_;
  sqlite::Statement failures_;
  sqlite::Statement prompts_;
  sqlite::Statement last_;
  sqlite::Statement latestAdded_;
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

awaitable<std::vector<ConversationItem>> TranscriptReader::page(ConversationId conversationId,
                                                                std::optional<ConversationItemId> anchor,
                                                                PageDirection direction, std::int64_t limit) {
  return perform([=](auto& readings) { return readings.page(conversationId, anchor, direction, limit); });
}

awaitable<std::optional<std::int64_t>> TranscriptReader::position(ConversationItemId id) {
  return perform([=](auto& readings) { return readings.position(id); });
}

awaitable<std::int64_t> TranscriptReader::count(ConversationId conversationId) {
  return perform([=](auto& readings) { return readings.count(conversationId); });
}

awaitable<std::optional<ConversationItemId>> TranscriptReader::beforeLast(ConversationId conversationId,
                                                                          std::int64_t count) {
  return perform([=](auto& readings) { return readings.beforeLast(conversationId, count); });
}

awaitable<TranscriptMarks> TranscriptReader::marks(ConversationId conversationId,
                                                   std::optional<ConversationItemId> behind) {
  return perform([=](auto& readings) { return readings.marks(conversationId, behind); });
}

awaitable<std::optional<LastItem>> TranscriptReader::last(ConversationId conversationId) {
  return perform([=](auto& readings) { return readings.last(conversationId); });
}

awaitable<ConversationItemId> TranscriptReader::latestAdded() {
  return perform([](auto& readings) { return readings.latestAdded(); });
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
