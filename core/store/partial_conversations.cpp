#include "core/store/partial_conversations.hpp"

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

PartialConversations::PartialConversations(StoreConnection& store)
    : store_(store),
      conversations_(store),
      mark_(store.prepare("UPDATE conversation SET importer = ? WHERE id = ?")),
      find_(store.prepare("SELECT id FROM conversation WHERE uuid = ? AND importer = ?")),
      all_(store.prepare("SELECT uuid, importer FROM conversation WHERE importer IS NOT NULL")) {}

void PartialConversations::mark(ConversationRow conversation) {
  mark_.run(store_.container().processes().owner(), bound(conversation));
}

void PartialConversations::unmark(ConversationRow conversation) { mark_.run(nullptr, bound(conversation)); }

std::optional<ConversationRow> PartialConversations::find(ConversationId id) {
  return find(id, store_.container().processes().owner());
}

std::optional<ConversationRow> PartialConversations::find(ConversationId id, std::string_view owner) {
  auto row = find_.query(bound(id), owner);
  return row.step() ? std::optional(ConversationRow(row.int64(0))) : std::nullopt;
}

bool PartialConversations::beginRemoval(ConversationRow conversation, Amount amount) {
  const bool isLeft = removeSome(conversation, amount);
  if (isLeft) mark(conversation);
  return isLeft;
}

void PartialConversations::remove(ConversationId id) { remove(id, store_.container().processes().owner()); }

void PartialConversations::remove(ConversationId id, std::string_view owner) {
  try {
    while (removeSome(id, owner, Amount::turn)) WriteTurn::letOthersWrite();
    return;
  } catch (const StoreError& error) {
    if (error.kind() != StoreError::Case::full) throw;
  }
  do store_.emptyLog();
  while (removeSome(id, owner, Amount::little));
  store_.emptyLog();
}

bool PartialConversations::removeSome(ConversationId id, std::string_view owner, Amount amount) {
  return store_.write(
      Durability::processDeath,
      [&](Changes&) {
        const auto row = find(id, owner);
        return row && removeSome(*row, amount);
      },
      FullDisk::takesReserve);
}

bool PartialConversations::removeSome(ConversationRow conversation, Amount amount) {
  const WriteTurn turn;
  while (conversations_.removeSomeItems(conversation)) {
    if (amount == Amount::little || turn.isOver()) return true;
  }
  conversations_.remove(conversation);
  return false;
}

void PartialConversations::removeDead() {
  try {
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
      kLog.warning("removed what a process that was killed has left of conversation {}", id.text());
    }
  } catch (const StoreError& error) {
    kLog.warning("what processes that were killed have left of conversations stays: {}", error.what());
  }
}

}  // namespace ravant
