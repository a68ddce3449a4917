#include "core/store/transcript_import.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "core/store/imported_pieces.hpp"
#include "core/store/imported_session_table.hpp"
#include "core/store/item_insertion.hpp"
#include "core/store/item_table.hpp"
#include "core/store/partial_conversations.hpp"
#include "core/store/row_values.hpp"
#include "core/store/write_turn.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

std::optional<std::int64_t> bound(const std::optional<Timestamp>& time) {
  return time ? std::optional(ravant::bound(*time)) : std::nullopt;
}

using ravant::bound;

}  // namespace

/// The operations themselves, run one after another on the actor's strand.
class TranscriptImportOperations {
 public:
  explicit TranscriptImportOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        conversations_(store_),
        partial_(store_),
        sessions_(store_),
        items_(store_),
        calls_(store_),
        taken_(store_.prepare("SELECT id FROM conversation WHERE uuid = ?")),
        findProject_(store_.prepare("SELECT id FROM project WHERE uuid = ?")),
        projectOf_(store_.prepare("SELECT uuid FROM project WHERE path = ?")),
        addProject_(
            store_.prepare("INSERT INTO project (uuid, path, name, created_at, expanded_in_sidebar, sidebar_order) "
                           "VALUES (?, ?, ?, ?, 1, (SELECT coalesce(max(sidebar_order) + 1, 0) FROM project))")),
        // Others may have begun to use it.
        removeProject_(store_.prepare(
            "DELETE FROM project WHERE uuid = ? AND NOT EXISTS (SELECT 1 FROM conversation WHERE project_id = "
            "project.id) AND NOT EXISTS (SELECT 1 FROM draft WHERE project_id = project.id) RETURNING 1")),
        findAgent_(store_.prepare("SELECT id FROM agent WHERE uuid = ?")),
        insert_(store_.prepare(
            "INSERT INTO conversation (uuid, project_id, agent_id, agent_resumed_session_id, last_used_model, "
            "last_used_effort_raw_value, created_at, last_activity_at, last_prompt_at, archived, last_used_tokens, "
            "last_total_processed_tokens, last_input_tokens, last_output_tokens, last_cache_read_tokens, "
            "last_cache_creation_tokens, last_usage_updated_at, last_max_tokens, title, work_item_kind, "
            "work_item_name, work_item_url, agent_type) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
            "?, ?, ?, ?, ?)")),
        update_(store_.prepare(
            "UPDATE conversation SET last_used_model = ?, last_used_effort_raw_value = ?, "
            "last_activity_at = ?3, last_prompt_at = max(last_prompt_at, ?), "
            "last_used_tokens = ?, last_total_processed_tokens = ?, last_input_tokens = ?, last_output_tokens = ?, "
            "last_cache_read_tokens = ?, last_cache_creation_tokens = ?, last_usage_updated_at = ?, "
            "last_max_tokens = ? WHERE id = ? AND last_activity_at < ?3")),
        retitle_(store_.prepare("UPDATE conversation SET title = ? WHERE id = ? AND title IS ?")),
        lastItem_(store_.prepare("SELECT id, created_at FROM conversation_item WHERE conversation_id = ? "
                                 "ORDER BY created_at DESC, id DESC LIMIT 1")),
        count_(store_.prepare("UPDATE conversation SET item_count = item_count + ? WHERE id = ?")),
        see_(store_.prepare("UPDATE conversation SET (seen_item_id, seen_item_at) = (SELECT id, created_at FROM "
                            "conversation_item WHERE id = ?1) WHERE id = ?2 AND seen_item_id = ?3")) {}

  using Created = TranscriptImport::Created;
  using Unfinished = ImportedSessionTable::Unfinished;

  /// In the folder's project, where there is one, else in the conversation's.
  std::optional<Created> create(const std::optional<TranscriptImport::Folder>& folder, Conversation conversation,
                                const NextImportedItem& next, const std::optional<ImportedSession>& session) {
    partial_.removeDead();
    if (conversation.id == ConversationId()) conversation.id = ConversationId(Uuid::random());
    if (!store_.read([&] { return isFree(conversation.id, session); })) return std::nullopt;
    ImportedPieces pieces(next);
    pieces.read();
    std::optional<ProjectId> addedProject;
    auto created = store_.write(pieces.durability(), [&](Changes& changes) -> std::optional<Created> {
      if (!isFree(conversation.id, session)) return std::nullopt;
      if (folder) conversation.project = projectOf(*folder, changes, addedProject);
      return begin(conversation, pieces, session, changes);
    });
    try {
      while (created && !pieces.areOver()) {
        WriteTurn::letOthersWrite();
        pieces.read();
        if (!goOn(*created, pieces)) return std::nullopt;
      }
    } catch (...) {
      undo(conversation.id, addedProject);
      throw;
    }
    return created;
  }

  std::optional<std::int64_t> append(const SessionGrowth& growth, const NextImportedItem& next) {
    ImportedPieces pieces(next);
    bool isBegun = false;
    for (std::int64_t items = 0;; WriteTurn::letOthersWrite()) {
      pieces.read();
      const auto added = store_.write(pieces.durability(), [&](Changes& changes) -> std::optional<std::int64_t> {
        const auto row = conversations_.find(growth.before.id);
        if (!row || sessions_.isAddedToElsewhere(*row) || !(isBegun || isAsKnown(growth))) return std::nullopt;
        const std::int64_t count = addItems(*row, pieces);
        if (pieces.areOver()) {
          update(*row, growth, changes);
        } else {
          sessions_.beginAdding(*row);
        }
        changes.updated(growth.before.id);
        return count;
      });
      if (!added) return std::nullopt;
      isBegun = true;
      items += *added;
      if (pieces.areOver()) return items;
    }
  }

  std::optional<KnownSession> knownSession(AgentType agent, std::string_view sessionId) {
    return store_.read([&] { return sessions_.find(agent, sessionId, Unfinished::skipped); });
  }

 private:
  template <class EntityId>
  static std::optional<std::int64_t> rowOf(sqlite::Statement& statement, const EntityId& id) {
    auto row = statement.query(bound(id));
    return row.step() ? std::optional(row.int64(0)) : std::nullopt;
  }

  bool isFree(ConversationId id, const std::optional<ImportedSession>& session) {
    return !rowOf(taken_, id) && !(session && sessions_.find(session->agent, session->sessionId, Unfinished::included));
  }

  std::optional<Created> begin(const Conversation& conversation, ImportedPieces& pieces,
                               const std::optional<ImportedSession>& session, Changes& changes) {
    const auto project = rowOf(findProject_, conversation.project);
    if (!project) return std::nullopt;
    insert(conversation, *project);
    const ConversationRow row{store_.lastInsertRowId()};
    if (session) sessions_.keep(row, *session);
    const std::int64_t items = addItems(row, pieces);
    if (pieces.areOver()) {
      changes.inserted(conversation.id);
    } else {
      partial_.mark(row);
    }
    return Created{.conversation = conversation.id, .items = items};
  }

  /// False where the conversation has gone with its project.
  bool goOn(Created& created, ImportedPieces& pieces) {
    return store_.write(pieces.durability(), [&](Changes& changes) {
      const auto row = partial_.find(created.conversation);
      if (!row) return false;
      created.items += addItems(*row, pieces);
      if (!pieces.areOver()) return true;
      partial_.unmark(*row);
      changes.inserted(created.conversation);
      return true;
    });
  }

  void undo(ConversationId id, const std::optional<ProjectId>& addedProject) {
    try {
      partial_.remove({id});
      if (!addedProject) return;
      store_.write(
          Durability::processDeath,
          [&](Changes& changes) {
            if (removeProject_.query(bound(*addedProject)).step()) changes.removed(*addedProject);
          },
          FullDisk::takesReserve);
    } catch (const StoreError& error) {
      kLog.warning("what was brought in of conversation {} is removed later: {}", id.text(), error.what());
    }
  }

  ProjectId projectOf(const TranscriptImport::Folder& folder, Changes& changes, std::optional<ProjectId>& added) {
    auto row = projectOf_.query(folder.path);
    if (row.step()) return readId<ProjectId>(row, 0);
    const ProjectId id(Uuid::random());
    addProject_.run(bound(id), folder.path, folder.projectName, bound(store_.now()));
    changes.inserted(id);
    added = id;
    return id;
  }

  void insert(const Conversation& conversation, std::int64_t project) {
    const auto agent = conversation.agent.and_then([&](const AgentId& id) { return rowOf(findAgent_, id); });
    const std::optional<WorkItem>& workItem = conversation.workItem;
    insert_.run(
        bound(conversation.id), project, agent, conversation.agentResumedSessionId, conversation.lastUsedModel,
        conversation.lastUsedEffortRawValue, bound(conversation.createdAt), bound(conversation.lastActivityAt),
        bound(conversation.lastPromptAt), conversation.archived, conversation.lastUsedTokens,
        conversation.lastTotalProcessedTokens, conversation.lastInputTokens, conversation.lastOutputTokens,
        conversation.lastCacheReadTokens, conversation.lastCacheCreationTokens, bound(conversation.lastUsageUpdatedAt),
        conversation.lastMaxTokens, conversation.title,
        workItem.transform([](const WorkItem& item) { return rawValue(item.kind); }),
        workItem.transform([](const WorkItem& item) { return std::string_view(item.name); }),
        workItem.transform([](const WorkItem& item) { return std::string_view(item.url); }),
        agent ? std::nullopt : conversation.foreignAgentType.transform([](AgentType type) { return rawValue(type); }));
  }

  /// Until another transaction has to go on.
  std::int64_t addItems(ConversationRow row, ImportedPieces& pieces) {
    const WriteTurn turn;
    std::optional<std::int64_t> lastBefore;
    Timestamp latest{std::chrono::microseconds(std::numeric_limits<std::int64_t>::min())};
    {
      auto last = lastItem_.query(bound(row));
      if (last.step()) {
        lastBefore = last.int64(0);
        latest = readTime(last, 1);
      }
    }
    const std::int64_t count = store_.withoutRowRules([&] {
      std::int64_t taken = 0;
      for (; const auto item = pieces.take(turn); ++taken) {
        latest = std::max(latest, item->createdAt);
        items_.insert(row, *item, latest);
      }
      return taken;
    });
    if (count == 0) return 0;
    count_.run(count, bound(row));  // as the trigger would
    see(row, lastBefore);
    return count;
  }

  void see(ConversationRow row, const std::optional<std::int64_t>& lastBefore) {
    const auto newest = [&] {
      auto last = lastItem_.query(bound(row));
      last.step();
      return last.int64(0);
    }();
    see_.run(newest, bound(row), lastBefore.value_or(0));
  }

  bool isAsKnown(const SessionGrowth& growth) {
    const auto known = sessions_.find(growth.read.agent, growth.read.sessionId, Unfinished::skipped);
    return (known ? known->imported : std::nullopt) == growth.readBefore;
  }

  void update(ConversationRow row, const SessionGrowth& growth, Changes& changes) {
    const Conversation& conversation = growth.after;
    update_.run(conversation.lastUsedModel, conversation.lastUsedEffortRawValue, bound(conversation.lastActivityAt),
                bound(conversation.lastPromptAt), conversation.lastUsedTokens, conversation.lastTotalProcessedTokens,
                conversation.lastInputTokens, conversation.lastOutputTokens, conversation.lastCacheReadTokens,
                conversation.lastCacheCreationTokens, bound(conversation.lastUsageUpdatedAt),
                conversation.lastMaxTokens, bound(row));
    if (conversation.title != growth.before.title) retitle_.run(conversation.title, bound(row), growth.before.title);
    if (growth.results) {
      for (const LateResult& late : growth.results()) complete(row, growth.before.id, late, changes);
    }
    sessions_.keep(row, growth.read);
  }

  void complete(ConversationRow row, ConversationId id, const LateResult& late, Changes& changes) {
    const auto call = calls_.newestInvocation(row, late.result.toolCallId);
    if (!call) return;
    if (late.result.outcome == ToolOutcome::failed) {
      calls_.fail(*call, late.result.output, late.at);
    } else {
      calls_.complete(*call, late.result.output, late.at);
    }
    changes.updated(*call, id);
  }

  StoreConnection store_;
  ConversationTable conversations_;
  PartialConversations partial_;
  ImportedSessionTable sessions_;
  ItemInsertion items_;
  ItemTable calls_;
  sqlite::Statement taken_;
  sqlite::Statement findProject_;
  sqlite::Statement projectOf_;
  sqlite::Statement addProject_;
  sqlite::Statement removeProject_;
  sqlite::Statement findAgent_;
  sqlite::Statement insert_;
  sqlite::Statement update_;
  sqlite::Statement retitle_;
  sqlite::Statement lastItem_;
  sqlite::Statement count_;
  sqlite::Statement see_;
};

std::shared_ptr<TranscriptImport> TranscriptImport::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<TranscriptImport>(std::move(modelContainer));
}

TranscriptImport::TranscriptImport(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

TranscriptImport::~TranscriptImport() = default;

awaitable<std::optional<TranscriptImport::Created>> TranscriptImport::create(Conversation conversation,
                                                                             NextImportedItem next,
                                                                             std::optional<ImportedSession> session) {
  return perform([conversation = std::move(conversation), next = std::move(next), session = std::move(session)](
                     auto& operations) { return operations.create(std::nullopt, conversation, next, session); });
}

awaitable<std::optional<TranscriptImport::Created>> TranscriptImport::createIn(Folder folder, Conversation conversation,
                                                                               NextImportedItem next) {
  return perform([folder = std::move(folder), conversation = std::move(conversation), next = std::move(next)](
                     auto& operations) { return operations.create(folder, conversation, next, std::nullopt); });
}

awaitable<std::optional<std::int64_t>> TranscriptImport::append(SessionGrowth growth, NextImportedItem next) {
  return perform([growth = std::move(growth), next = std::move(next)](auto& operations) {
    return operations.append(growth, next);
  });
}

awaitable<std::optional<KnownSession>> TranscriptImport::knownSession(AgentType agent, std::string sessionId) {
  return perform(
      [=, sessionId = std::move(sessionId)](auto& operations) { return operations.knownSession(agent, sessionId); });
}

}  // namespace ravant
