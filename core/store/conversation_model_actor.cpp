#include "core/store/conversation_model_actor.hpp"

#include <functional>

#include "core/store/conversation_summaries.hpp"
#include "core/store/conversation_table.hpp"
#include "core/store/partial_conversations.hpp"
#include "core/store/row_values.hpp"
#include "core/store/run_table.hpp"
#include "core/store/write_turn.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

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
        partial_(store_),
        livingRuns_(store_),
        summaries_(store_, livingRuns_),
        findProject_(store_.prepare("SELECT id FROM project WHERE uuid = ?")),
        findAgent_(store_.prepare("SELECT id FROM agent WHERE uuid = ?")),
        insert_(store_.prepare("INSERT INTO conversation (uuid, project_id, agent_id, created_at, last_activity_at, "
                               "last_prompt_at, archived, work_item_kind, work_item_name, work_item_url) "
                               "VALUES (?1, ?2, ?3, ?4, ?4, ?4, 0, ?5, ?6, ?7)")),
        firstUnread_(store_.prepare(
            "SELECT item.id FROM conversation AS c JOIN conversation_item AS item ON item.conversation_id = c.id "
            "WHERE c.uuid = ? AND c.importer IS NULL AND (item.created_at, item.id) > (c.seen_item_at, c.seen_item_id) "
            "ORDER BY "
            "item.created_at, item.id LIMIT 1")) {}

  std::optional<ConversationId> create(ProjectId projectId, const std::optional<AgentId>& agentId,
                                       const std::optional<WorkItem>& workItem) {
    // It is empty: its first prompt makes it safe together with itself.
    return store_.write(Durability::processDeath, [&](Changes& changes) -> std::optional<ConversationId> {
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
    if (beginRemoval(id)) removeRest(id);
    partial_.removeDead();
  }

  void removeLeftovers() { partial_.removeDead(); }

  std::optional<ConversationSummary> find(ConversationId id) {
    return store_.read([&] { return summaries_.find(id); });
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
    return store_.read([&] { return summaries_.list(query); });
  }

  std::vector<ConversationSummary> withPrefix(std::string_view prefix) {
    return store_.read([&] { return summaries_.withPrefix(prefix); });
  }

 private:
  /// Whether there is more than one transaction may remove.
  bool beginRemoval(ConversationId id) {
    return PartialConversations::asMuchAsFits([&](auto amount) { return beginRemoval(id, amount); });
  }

  bool beginRemoval(ConversationId id, PartialConversations::Amount amount) {
    return store_.write(
        Durability::powerCut,
        [&](Changes& changes) {
          const auto row = conversations_.find(id);
          if (!row) return logUnknown("deleteConversation", id);
          livingRuns_.refuseRemoval(id);
          changes.removed(id);
          return partial_.beginRemoval(*row, amount);
        },
        FullDisk::takesReserve);
  }

  void removeRest(ConversationId id) {
    try {
      WriteTurn::letOthersWrite();
      partial_.remove({id});
    } catch (const StoreError& error) {
      kLog.warning("what is left of conversation {} is removed later: {}", id.text(), error.what());
    }
  }

  template <class EntityId>
  static std::optional<std::int64_t> rowOf(sqlite::Statement& statement, const EntityId& id) {
    auto row = statement.query(bound(id));
    return row.step() ? std::optional(row.int64(0)) : std::nullopt;
  }

  StoreConnection store_;
  ConversationTable conversations_;
  PartialConversations partial_;
  LivingRuns livingRuns_;
  ConversationSummaries summaries_;
  sqlite::Statement findProject_;
  sqlite::Statement findAgent_;
  sqlite::Statement insert_;
  sqlite::Statement firstUnread_;
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

awaitable<void> ConversationModelActor::removeLeftovers() {
  return perform([](auto& operations) { operations.removeLeftovers(); });
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
