#include "core/store/unfinished_imports.hpp"

#include <string>
#include <utility>
#include <vector>

#include "core/store/row_values.hpp"
#include "core/store/write_turn.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

}  // namespace

UnfinishedImports::UnfinishedImports(StoreConnection& store)
    : store_(store),
      conversations_(store),
      mark_(store.prepare("UPDATE conversation SET importer = ? WHERE id = ?")),
      find_(store.prepare("SELECT id FROM conversation WHERE uuid = ? AND importer = ?")),
      all_(store.prepare("SELECT uuid, importer FROM conversation WHERE importer IS NOT NULL")) {}

void UnfinishedImports::mark(ConversationRow conversation) {
  mark_.run(store_.container().processes().owner(), bound(conversation));
}

void UnfinishedImports::unmark(ConversationRow conversation) { mark_.run(nullptr, bound(conversation)); }

std::optional<ConversationRow> UnfinishedImports::find(ConversationId id) {
  return find(id, store_.container().processes().owner());
}

std::optional<ConversationRow> UnfinishedImports::find(ConversationId id, std::string_view owner) {
  auto row = find_.query(bound(id), owner);
  return row.step() ? std::optional(ConversationRow(row.int64(0))) : std::nullopt;
}

void UnfinishedImports::remove(ConversationId id) { remove(id, store_.container().processes().owner()); }

void UnfinishedImports::remove(ConversationId id, std::string_view owner) {
  while (removeSome(id, owner)) WriteTurn::letOthersWrite();
}

bool UnfinishedImports::removeSome(ConversationId id, std::string_view owner) {
  return store_.write(
      Durability::processDeath,
      [&](Changes&) {
        const auto row = find(id, owner);
        if (!row) return false;
        const WriteTurn turn;
        while (conversations_.removeSomeItems(*row)) {
          if (turn.isOver()) return true;
        }
        conversations_.remove(*row);
        return false;
      },
      FullDisk::takesReserve);
}

void UnfinishedImports::removeDead() {
  const auto dead = store_.read([&] {
    std::vector<std::pair<ConversationId, std::string>> found;
    auto row = all_.query();
    while (row.step()) {
      std::string owner = readText(row, 1);
      if (!store_.container().processes().isAlive(owner)) found.emplace_back(readId<ConversationId>(row, 0), owner);
    }
    return found;
  });
  for (const auto& [id, owner] : dead) {
    remove(id, owner);
    kLog.warning("removed conversation {}, which was brought in only in part", id.text());
  }
}

void removeInterruptedImports(std::shared_ptr<ModelContainer> modelContainer) {
  StoreConnection store(std::move(modelContainer));
  UnfinishedImports(store).removeDead();
}

}  // namespace ravant
