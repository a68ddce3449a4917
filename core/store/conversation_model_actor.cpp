#include "core/store/conversation_model_actor.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

#include "core/prompt_outcome.hpp"
#include "core/store/conversation_table.hpp"
#include "core/store/row_values.hpp"
#include "core/store/run_table.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

// How the latest prompt ended, where the last item is a failure.
constexpr std::string_view kFailureAtEnd =
    "(SELECT iif(failure.id = (SELECT id FROM conversation_item WHERE conversation_id = c.id "
    "ORDER BY created_at DESC, id DESC LIMIT 1), coalesce((SELECT end_reason FROM conversation_item "
    "WHERE conversation_id = c.id AND kind = 'userMessage' ORDER BY created_at DESC, id DESC LIMIT 1), 'failed'), "
    "NULL) "
    "FROM conversation_item AS failure WHERE failure.conversation_id = c.id AND failure.kind = 'failureEvent' "
    "ORDER BY failure.id DESC LIMIT 1)";

// Its columns are in the order of `readSummary`.
std::string selectSummary(std::string_view condition) {
  return fmt::format(
      "SELECT c.uuid, project.uuid, agent.uuid, c.agent_resumed_session_id, c.last_used_model, "
      "c.last_used_effort_raw_value, c.created_at, c.last_activity_at, c.last_prompt_at, c.archived, "
      "c.last_used_tokens, c.last_total_processed_tokens, c.last_input_tokens, c.last_output_tokens, "
      "c.last_cache_read_tokens, c.last_cache_creation_tokens, c.last_usage_updated_at, c.last_max_tokens, c.title, "
      "project.name, coalesce(agent.type_raw, c.agent_type), c.item_count, "
      "CASE WHEN c.title IS NULL THEN (SELECT substr(text, 1, 120) FROM conversation_item WHERE conversation_id = c.id "
      "AND kind = 'userMessage' ORDER BY created_at, id LIMIT 1) END, "
      "c.work_item_kind, c.work_item_name, c.work_item_url, "
      "(SELECT count(*) FROM conversation_item WHERE conversation_id = c.id "
      "AND (created_at, id) > (c.seen_item_at, c.seen_item_id)), "
      "{}, "
      "EXISTS (SELECT 1 FROM draft WHERE conversation_id = c.id), run.owner, run.started_at, c.agent_type "
      "FROM conversation AS c JOIN project ON project.id = c.project_id LEFT JOIN agent ON agent.id = c.agent_id "
      "LEFT JOIN run ON run.conversation_id = c.id "
      "WHERE c.importer IS NULL AND {} ORDER BY c.last_activity_at DESC, c.id DESC",
      kFailureAtEnd, condition);
}

std::optional<WorkItem> readWorkItem(const sqlite::Query& row, int column) {
  if (row.isNull(column)) return std::nullopt;
  const auto kind = workItemKindFromRawValue(row.text(column));
  if (!kind) return std::nullopt;
  return WorkItem{.kind = *kind, .name = readText(row, column + 1), .url = readText(row, column + 2)};
}

TranscriptEnd readEnd(const sqlite::Query& row, int column) {
  if (row.isNull(column)) return TranscriptEnd::ordinary;
  const bool isInterrupted = row.text(column) == rawValue(PromptOutcome::interrupted);
  return isInterrupted ? TranscriptEnd::interrupted : TranscriptEnd::failed;
}

void readRun(ConversationSummary& summary, const LivingRuns& runs, const sqlite::Query& row, int column) {
  if (row.isNull(column)) return;
  switch (runs.standing(row.text(column), summary.conversation.id)) {
    case RunStanding::here:
      summary.run = LivingRun{.place = LivingRun::Place::here, .since = readTime(row, column + 1)};
      return;
    case RunStanding::elsewhere:
      summary.run = LivingRun{.place = LivingRun::Place::elsewhere, .since = readTime(row, column + 1)};
      return;
    case RunStanding::over:
      return;
    case RunStanding::interrupted:
      summary.end = TranscriptEnd::interrupted;
      return;
  }
}

ConversationSummary readSummary(const sqlite::Query& row, const LivingRuns& runs) {
  ConversationSummary summary = {
      .conversation = {.id = readId<ConversationId>(row, 0),
                       .project = readId<ProjectId>(row, 1),
                       .agent = readOptionalId<AgentId>(row, 2),
                       .agentResumedSessionId = readOptionalText(row, 3),
                       .lastUsedModel = readOptionalText(row, 4),
                       .lastUsedEffortRawValue = readOptionalText(row, 5),
                       .createdAt = readTime(row, 6),
                       .lastActivityAt = readTime(row, 7),
                       .lastPromptAt = readTime(row, 8),
                       .archived = row.boolean(9),
                       .lastUsedTokens = row.optionalInt64(10),
                       .lastTotalProcessedTokens = row.optionalInt64(11),
                       .lastInputTokens = row.optionalInt64(12),
                       .lastOutputTokens = row.optionalInt64(13),
                       .lastCacheReadTokens = row.optionalInt64(14),
                       .lastCacheCreationTokens = row.optionalInt64(15),
                       .lastUsageUpdatedAt = readOptionalTime(row, 16),
                       .lastMaxTokens = row.optionalInt64(17),
                       .title = readOptionalText(row, 18),
                       .workItem = readWorkItem(row, 23),
                       .foreignAgentType = row.optionalText(31).and_then(agentTypeFromRawValue)},
      .projectName = readText(row, 19),
      .agentType = row.isNull(20) ? std::nullopt : agentTypeFromRawValue(row.text(20)),
      .items = row.int64(21),
      .firstWords = readOptionalText(row, 22),
      .unread = row.int64(26),
      .end = readEnd(row, 27),
      .hasDraft = row.boolean(28)};
  readRun(summary, runs, row, 29);
  return summary;
}

bool logUnknown(std::string_view operation, ConversationId id) {
  kLog.error("{} called with unknown id {}", operation, id.text());
  return false;
}

}  // namespace

/// The operations themselves, run one after another on the actor's strand.
class ConversationOperations {
 public:
  explicit ConversationOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        conversations_(store_),
        livingRuns_(store_),
        findProject_(store_.prepare("SELECT id FROM project WHERE uuid = ?")),
        findAgent_(store_.prepare("SELECT id FROM agent WHERE uuid = ?")),
        insert_(store_.prepare("INSERT INTO conversation (uuid, project_id, agent_id, created_at, last_activity_at, "
                               "last_prompt_at, archived, work_item_kind, work_item_name, work_item_url) "
                               "VALUES (?1, ?2, ?3, ?4, ?4, ?4, 0, ?5, ?6, ?7)")),
        firstUnread_(store_.prepare(
            "SELECT item.id FROM conversation AS c JOIN conversation_item AS item ON item.conversation_id = c.id "
            "WHERE c.uuid = ? AND c.importer IS NULL AND (item.created_at, item.id) > (c.seen_item_at, c.seen_item_id) "
            "ORDER BY "
            "item.created_at, item.id LIMIT 1")),
        one_(store_.prepare(selectSummary("c.uuid = ?"))),
        list_(store_.prepare(selectSummary("(?1 IS NULL OR project.uuid = ?1) AND (?2 IS NULL OR c.archived = ?2)") +
                             " LIMIT ?3")),
        withPrefix_(store_.prepare(selectSummary("substr(lower(hex(c.uuid)), 1, length(?1)) = ?1"))) {}

  std::optional<ConversationId> create(ProjectId projectId, const std::optional<AgentId>& agentId,
                                       const std::optional<WorkItem>& workItem) {
    return store_.write(Durability::powerCut, [&](Changes& changes) -> std::optional<ConversationId> {
      const auto project = rowOf(findProject_, projectId);
      if (!project) {
        kLog.error("createConversation called with unknown project id {}", projectId.text());
        return std::nullopt;
      }
      std::optional<std::int64_t> agent;
      if (agentId) {
        agent = rowOf(findAgent_, *agentId);
        if (!agent) {
          kLog.error("createConversation called with unknown agent id {}", agentId->text());
          return std::nullopt;
        }
      }
      const ConversationId id(Uuid::random());
      const auto ofItem = [&](auto text) {
        return workItem ? std::optional<std::string>(std::invoke(text, *workItem)) : std::nullopt;
      };
      insert_.run(bound(id), *project, agent, bound(store_.now()),
                  ofItem([](const WorkItem& item) { return rawValue(item.kind); }), ofItem(&WorkItem::name),
                  ofItem(&WorkItem::url));
      changes.inserted(id);
      return id;
    });
  }

  /// Runs `change(table, row)`; false for an unknown conversation.
  template <class Change>
  bool update(std::string_view operation, ConversationId id, Change change,
              Durability durability = Durability::powerCut) {
    return store_.write(durability, [&](Changes& changes) {
      const auto row = conversations_.find(id);
      if (!row) return logUnknown(operation, id);
      change(conversations_, *row);
      changes.updated(id);
      return true;
    });
  }

  void remove(ConversationId id) {
    try {
      removeAtOnce(id);
    } catch (const StoreError& error) {
      if (error.kind() != StoreError::Case::full) throw;
      removePieceByPiece(id);
    }
  }

  std::optional<ConversationSummary> find(ConversationId id) {
    return store_.read([&] {
      auto row = one_.query(bound(id));
      return row.step() ? std::optional(readSummary(row, livingRuns_)) : std::nullopt;
    });
  }

  void markSeen(ConversationId id, ConversationItemId upTo) {
    store_.write(Durability::processDeath, [&](Changes& changes) {
      const auto row = conversations_.find(id);
      if (!row) {
        logUnknown("markSeen", id);
      } else if (conversations_.look(*row, upTo)) {
        changes.updated(id);
      }
    });
  }

  std::optional<ConversationItemId> firstUnread(ConversationId id) {
    return store_.read([&] {
      auto row = firstUnread_.query(bound(id));
      return row.step() ? std::optional(readId<ConversationItemId>(row, 0)) : std::nullopt;
    });
  }

  bool isRunElsewhere(ConversationId id) {
    return store_.read([&] { return livingRuns_.isElsewhere(id); });
  }

  std::vector<ConversationSummary> list(const ConversationQuery& query) {
    const auto project = query.project ? std::optional(bound(*query.project)) : std::nullopt;
    std::optional<bool> archived;
    if (query.archived != ArchivedConversations::included) archived = query.archived == ArchivedConversations::only;
    return summaries(list_, project, archived, query.limit.value_or(-1));
  }

  std::vector<ConversationSummary> withPrefix(std::string_view prefix) { return summaries(withPrefix_, prefix); }

 private:
  void removeAtOnce(ConversationId id) {
    store_.write(
        Durability::powerCut,
        [&](Changes& changes) {
          const auto row = conversations_.find(id);
          if (!row) return logUnknown("deleteConversation", id);
          livingRuns_.refuseRemoval(id);
          conversations_.remove(*row);
          changes.removed(id);
          return true;
        },
        FullDisk::takesReserve);
  }

  /// The log of the whole removal can be larger than what is left of the disk.
  void removePieceByPiece(ConversationId id) {
    if (removeSomeItems(id)) {
      try {
        do store_.emptyLog();
        while (removeSomeItems(id));
        removeAtOnce(id);
      } catch (const InUseError& error) {
        throw PartlyRemovedError(error);
      } catch (const StoreError& error) {
        throw PartlyRemovedError(error);
      }
    } else {
      removeAtOnce(id);
    }
    try {
      store_.emptyLog();
    } catch (const StoreError& error) {
      kLog.warning("the room of what was removed is given back later: {}", error.what());
    }
  }

  /// False when there are none left.
  bool removeSomeItems(ConversationId id) {
    return store_.write(Durability::processDeath, [&](Changes& changes) {
      const auto row = conversations_.find(id);
      if (!row) return false;
      livingRuns_.refuseRemoval(id);
      changes.updated(id);
      return conversations_.removeSomeItems(*row);
    });
  }

  template <class EntityId>
  static std::optional<std::int64_t> rowOf(sqlite::Statement& statement, const EntityId& id) {
    auto row = statement.query(bound(id));
    return row.step() ? std::optional(row.int64(0)) : std::nullopt;
  }

  template <class... Values>
  std::vector<ConversationSummary> summaries(sqlite::Statement& statement, const Values&... values) {
    return store_.read([&] {
      std::vector<ConversationSummary> found;
      auto row = statement.query(values...);
      while (row.step()) found.push_back(readSummary(row, livingRuns_));
      return found;
    });
  }

  StoreConnection store_;
  ConversationTable conversations_;
  LivingRuns livingRuns_;
  sqlite::Statement findProject_;
  sqlite::Statement findAgent_;
  sqlite::Statement insert_;
  sqlite::Statement firstUnread_;
  sqlite::Statement one_;
  sqlite::Statement list_;
  sqlite::Statement withPrefix_;
};

std::shared_ptr<ConversationModelActor> ConversationModelActor::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<ConversationModelActor>(std::move(modelContainer));
}

ConversationModelActor::ConversationModelActor(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

ConversationModelActor::~ConversationModelActor() = default;

awaitable<std::optional<ConversationId>> ConversationModelActor::createConversation(ProjectId projectId,
                                                                                    std::optional<AgentId> agentId,
                                                                                    std::optional<WorkItem> workItem) {
  return perform([=, workItem = std::move(workItem)](auto& operations) {
    return operations.create(projectId, agentId, workItem);
  });
}

awaitable<void> ConversationModelActor::renameConversation(ConversationId conversationId,
                                                           std::optional<std::string> title) {
  return perform([conversationId, title = std::move(title)](auto& operations) {
    operations.update("renameConversation", conversationId, [&](auto& table, auto row) { table.rename(row, title); });
  });
}

awaitable<void> ConversationModelActor::archiveConversation(ConversationId conversationId) {
  return perform([=](auto& operations) {
    const bool known = operations.update("archiveConversation", conversationId,
                                         [](auto& table, auto row) { table.setArchived(row, true); });
    if (known) kLog.info("archived conversation {}", conversationId.text());
  });
}

awaitable<void> ConversationModelActor::unarchiveConversation(ConversationId conversationId) {
  return perform([=](auto& operations) {
    operations.update("unarchiveConversation", conversationId,
                      [](auto& table, auto row) { table.setArchived(row, false); });
  });
}

awaitable<void> ConversationModelActor::deleteConversation(ConversationId conversationId) {
  return perform([=](auto& operations) { operations.remove(conversationId); });
}

awaitable<void> ConversationModelActor::updateResumedSessionId(ConversationId conversationId,
                                                               std::optional<std::string> sessionId) {
  return perform([conversationId, sessionId = std::move(sessionId)](auto& operations) {
    operations.update("updateResumedSessionId", conversationId,
                      [&](auto& table, auto row) { table.updateResumedSessionId(row, sessionId); });
  });
}

awaitable<void> ConversationModelActor::updateLastPromptSettings(ConversationId conversationId, std::string modelId,
                                                                 std::optional<std::string> effort) {
  return perform([conversationId, modelId = std::move(modelId), effort = std::move(effort)](auto& operations) {
    // The prompt that follows makes it safe.
    operations.update(
        "updateLastPromptSettings", conversationId,
        [&](auto& table, auto row) { table.updateLastPromptSettings(row, modelId, effort); }, Durability::processDeath);
  });
}

awaitable<void> ConversationModelActor::markSeen(ConversationId conversationId, ConversationItemId upTo) {
  return perform([=](auto& operations) { operations.markSeen(conversationId, upTo); });
}

awaitable<std::optional<ConversationItemId>> ConversationModelActor::firstUnread(ConversationId conversationId) {
  return perform([=](auto& operations) { return operations.firstUnread(conversationId); });
}

awaitable<bool> ConversationModelActor::isRunElsewhere(ConversationId conversationId) {
  return perform([=](auto& operations) { return operations.isRunElsewhere(conversationId); });
}

awaitable<std::optional<ConversationSummary>> ConversationModelActor::conversation(ConversationId conversationId) {
  return perform([=](auto& operations) { return operations.find(conversationId); });
}

awaitable<std::vector<ConversationSummary>> ConversationModelActor::conversations(ConversationQuery query) {
  return perform([=](auto& operations) { return operations.list(query); });
}

awaitable<std::vector<ConversationSummary>> ConversationModelActor::conversationsWithPrefix(std::string idPrefix) {
  return perform([idPrefix = std::move(idPrefix)](auto& operations) { return operations.withPrefix(idPrefix); });
}

}  // namespace ravant
