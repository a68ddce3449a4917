#include "core/store/queued_prompt_store.hpp"

#include "core/store/conversation_table.hpp"
#include "core/store/ordered_rows.hpp"
#include "core/store/row_values.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

// Its columns are in the order of `readPrompt`.
std::string selectPrompts(std::string_view rest) {
  return "SELECT queued.id, conversation.uuid, queued.prompt, queued.model, queued.effort, queued.created_at FROM "
         "queued_prompt AS queued JOIN conversation ON conversation.id = queued.conversation_id WHERE " +
         std::string(rest);
}

QueuedPrompt readPrompt(const sqlite::Query& row) {
  return {.id = readId<QueuedPromptId>(row, 0),
          .conversation = readId<ConversationId>(row, 1),
          .text = {.prompt = readText(row, 2), .model = readOptionalText(row, 3), .effort = readOptionalText(row, 4)},
          .createdAt = readTime(row, 5)};
}

}  // namespace

/// The operations themselves, run one after another on the store's strand.
class QueuedPromptOperations {
 public:
  explicit QueuedPromptOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        conversations_(store_),
        insert_(store_.prepare(
            "INSERT INTO queued_prompt (conversation_id, sort_order, prompt, model, effort, created_at) VALUES (?1, "
            "(SELECT coalesce(max(sort_order) + 1, 0) FROM queued_prompt WHERE conversation_id = ?1), ?2, ?3, ?4, "
            "?5)")),
        edit_(store_.prepare("UPDATE queued_prompt SET prompt = ?, model = ?, effort = ? WHERE id = ?")),
        setOrder_(store_.prepare("UPDATE queued_prompt SET sort_order = ? WHERE id = ?")),
        delete_(store_.prepare("DELETE FROM queued_prompt WHERE id = ?")),
        one_(store_.prepare(selectPrompts("queued.id = ?"))),
        inOrder_(store_.prepare(selectPrompts("conversation.uuid = ? ORDER BY queued.sort_order, queued.id LIMIT ?"))),
        waiting_(store_.prepare("SELECT uuid FROM conversation WHERE id IN (SELECT conversation_id FROM "
                                "queued_prompt)")) {}

  std::optional<QueuedPromptId> add(ConversationId conversation, const QueuedText& text) {
    return store_.write(Durability::powerCut, [&](Changes& changes) -> std::optional<QueuedPromptId> {
      const auto row = conversations_.find(conversation);
      if (!row) {
        kLog.error("add to the queue called with unknown id {}", conversation.text());
        return std::nullopt;
      }
      insert_.run(bound(*row), text.prompt, text.model, text.effort, bound(store_.now()));
      const QueuedPromptId id(store_.lastInsertRowId());
      changes.inserted(id, conversation);
      return id;
    });
  }

  bool edit(QueuedPromptId id, const QueuedText& text) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      const auto known = find(id);
      if (!known) return false;
      edit_.run(text.prompt, text.model, text.effort, bound(id));
      changes.updated(id, known->conversation);
      return true;
    });
  }

  void reorder(ConversationId conversation, const std::vector<QueuedPromptId>& wanted) {
    store_.write(Durability::powerCut, [&](Changes& changes) {
      std::vector<QueuedPromptId> present;
      for (const QueuedPrompt& prompt : readAll(conversation, -1)) present.push_back(prompt.id);
      std::int64_t position = 0;
      for (const QueuedPromptId& id : reordered(present, wanted)) {
        setOrder_.run(position++, bound(id));
        changes.updated(id, conversation);
      }
    });
  }

  std::optional<QueuedPrompt> remove(QueuedPromptId id) {
    return store_.write(
        Durability::powerCut,
        [&](Changes& changes) {
          auto known = find(id);
          if (!known) return known;
          delete_.run(bound(id));
          changes.removed(id, known->conversation);
          return known;
        },
        FullDisk::takesReserve);
  }

  std::vector<QueuedPrompt> prompts(ConversationId conversation, std::int64_t limit) {
    return store_.read([&] { return readAll(conversation, limit); });
  }

  std::vector<ConversationId> conversations() {
    return store_.read([&] {
      std::vector<ConversationId> found;
      auto row = waiting_.query();
      while (row.step()) found.push_back(readId<ConversationId>(row, 0));
      return found;
    });
  }

 private:
  std::optional<QueuedPrompt> find(QueuedPromptId id) {
    auto row = one_.query(bound(id));
    return row.step() ? std::optional(readPrompt(row)) : std::nullopt;
  }

  std::vector<QueuedPrompt> readAll(ConversationId conversation, std::int64_t limit) {
    std::vector<QueuedPrompt> prompts;
    auto row = inOrder_.query(bound(conversation), limit);
    while (row.step()) prompts.push_back(readPrompt(row));
    return prompts;
  }

  StoreConnection store_;
  ConversationTable conversations_;
  sqlite::Statement insert_;
  sqlite::Statement edit_;
  sqlite::Statement setOrder_;
  sqlite::Statement delete_;
  sqlite::Statement one_;
  sqlite::Statement inOrder_;
  sqlite::Statement waiting_;
};

std::shared_ptr<QueuedPromptStore> QueuedPromptStore::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<QueuedPromptStore>(std::move(modelContainer));
}

QueuedPromptStore::QueuedPromptStore(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

QueuedPromptStore::~QueuedPromptStore() = default;

awaitable<std::optional<QueuedPromptId>> QueuedPromptStore::add(ConversationId conversationId, QueuedText text) {
  return perform(
      [conversationId, text = std::move(text)](auto& operations) { return operations.add(conversationId, text); });
}

awaitable<bool> QueuedPromptStore::edit(QueuedPromptId id, QueuedText text) {
  return perform([id, text = std::move(text)](auto& operations) { return operations.edit(id, text); });
}

awaitable<void> QueuedPromptStore::reorder(ConversationId conversationId, std::vector<QueuedPromptId> orderedIds) {
  return perform([conversationId, orderedIds = std::move(orderedIds)](auto& operations) {
    operations.reorder(conversationId, orderedIds);
  });
}

awaitable<std::optional<QueuedPrompt>> QueuedPromptStore::remove(QueuedPromptId id) {
  return perform([=](auto& operations) { return operations.remove(id); });
}

awaitable<std::vector<QueuedPrompt>> QueuedPromptStore::prompts(ConversationId conversationId) {
  return perform([=](auto& operations) { return operations.prompts(conversationId, -1); });
}

awaitable<std::optional<QueuedPrompt>> QueuedPromptStore::next(ConversationId conversationId) {
  return perform([=](auto& operations) {
    auto first = operations.prompts(conversationId, 1);
    return first.empty() ? std::nullopt : std::optional(std::move(first.front()));
  });
}

awaitable<std::vector<ConversationId>> QueuedPromptStore::conversations() {
  return perform([](auto& operations) { return operations.conversations(); });
}

}  // namespace ravant
