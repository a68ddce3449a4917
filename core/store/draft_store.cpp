#include "core/store/draft_store.hpp"

#include <fmt/format.h>

#include <string_view>

#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

}  // namespace

/// The operations themselves, run one after another on the store's strand.
class DraftOperations {
 public:
  explicit DraftOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        ofConversation_(store_, "conversation", "conversation_id"),
        ofProject_(store_, "project", "project_id") {}

  /// In place of any text where none is expected.
  bool replace(const DraftPlace& place, const std::optional<std::string>& expected, const std::string& text) {
    return store_.write(Durability::processDeath, [&](Changes& changes) {
      return std::visit(
          [&](const auto& id) {
            Statements& statements = of(id);
            auto owner = statements.find.query(bound(id));
            if (!owner.step()) {
              kLog.error("a draft of the unknown id {} is not kept", id.text());
              return true;
            }
            if (expected && *expected != textOf(id).value_or("")) return false;
            if (statements.put(owner.int64(0), text, store_.now())) changes.updated(id);
            return true;
          },
          place);
    });
  }

  std::optional<std::string> draft(const DraftPlace& place) {
    return store_.read([&] { return std::visit([&](const auto& id) { return textOf(id); }, place); });
  }

 private:
  struct Statements {
    Statements(StoreConnection& store, std::string_view table, std::string_view column)
        : find(store.prepare(fmt::format("SELECT id FROM {} WHERE uuid = ?", table))),
          read(store.prepare(fmt::format(
              "SELECT draft.text FROM draft JOIN {0} ON {0}.id = draft.{1} WHERE {0}.uuid = ?", table, column))),
          write(store.prepare(fmt::format(
              "INSERT INTO draft ({0}, text, changed_at) VALUES (?, ?, ?) ON CONFLICT ({0}) DO UPDATE SET text = "
              "excluded.text, changed_at = excluded.changed_at WHERE text <> excluded.text RETURNING 1",
              column))),
          remove(store.prepare(fmt::format("DELETE FROM draft WHERE {} = ? RETURNING 1", column))) {}

    /// False where nothing changed.
    bool put(std::int64_t owner, const std::string& text, Timestamp now) {
      return text.empty() ? remove.query(owner).step() : write.query(owner, text, bound(now)).step();
    }

    sqlite::Statement find;
    sqlite::Statement read;
    sqlite::Statement write;
    sqlite::Statement remove;
  };

  template <class EntityId>
  std::optional<std::string> textOf(const EntityId& id) {
    auto row = of(id).read.query(bound(id));
    return row.step() ? std::optional(readText(row, 0)) : std::nullopt;
  }

  Statements& of(const ConversationId& /*id*/) { return ofConversation_; }
  Statements& of(const ProjectId& /*id*/) { return ofProject_; }

  StoreConnection store_;
  Statements ofConversation_;
  Statements ofProject_;
};

std::shared_ptr<DraftStore> DraftStore::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<DraftStore>(std::move(modelContainer));
}

DraftStore::DraftStore(std::shared_ptr<ModelContainer> modelContainer) : StoreActor(std::move(modelContainer)) {}

DraftStore::~DraftStore() = default;

awaitable<void> DraftStore::keep(DraftPlace place, std::string text) {
  return perform([place, text = std::move(text)](auto& operations) { operations.replace(place, std::nullopt, text); });
}

awaitable<bool> DraftStore::replace(DraftPlace place, std::string expected, std::string text) {
  return perform([place, expected = std::move(expected), text = std::move(text)](auto& operations) {
    return operations.replace(place, expected, text);
  });
}

awaitable<std::optional<std::string>> DraftStore::draft(DraftPlace place) {
  return perform([=](auto& operations) { return operations.draft(place); });
}

}  // namespace ravant
