#include "core/store/partial_conversations.hpp"

#include <utility>

#include "core/store/row_values.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

}  // namespace

PartialConversations::PartialConversations(StoreConnection& store)
    : store_(store),
      conversations_(store),
      mark_(store.prepare("UPDATE conversation SET importer = ? WHERE id = ?")),
      markMembers_(store.prepare("UPDATE conversation SET importer = ?1 WHERE project_id = (SELECT id FROM project "
                                 "WHERE uuid = ?2) AND importer IS NOT ?1")),
      members_(store.prepare("SELECT uuid, id, importer IS NULL FROM conversation WHERE project_id = "
                             "(SELECT id FROM project WHERE uuid = ?)")),
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

std::vector<PartialConversations::Member> PartialConversations::membersOf(ProjectId project) {
  std::vector<Member> members;
  auto row = members_.query(bound(project));
  while (row.step()) {
    members.push_back(
        {.id = readId<ConversationId>(row, 0), .row = ConversationRow(row.int64(1)), .isWhole = row.boolean(2)});
  }
  return members;
}

bool PartialConversations::beginRemoval(ConversationRow conversation, Amount amount) {
  const bool isLeft = removeSome(conversation, amount, WriteTurn());
  if (isLeft) mark(conversation);
  return isLeft;
}

std::vector<ConversationId> PartialConversations::beginRemoval(ProjectId project, Amount amount, Changes& changes) {
  const WriteTurn turn;
  const std::vector<Member> members = membersOf(project);
  auto next = members.begin();
  while (next != members.end() && !removeSome(next->row, amount, turn)) {
    ++next;
    if (isEnough(amount, turn)) break;
  }
  std::vector<ConversationId> left;
  for (; next != members.end(); ++next) left.push_back(next->id);
  if (left.empty()) return left;
  markMembers_.run(store_.container().processes().owner(), bound(project));
  for (const Member& member : members) {
    if (member.isWhole) changes.removed(member.id);
  }
  return left;
}

void PartialConversations::remove(const std::vector<ConversationId>& ids) {
  std::vector<Marked> marked;
  for (const ConversationId id : ids) marked.push_back({id, store_.container().processes().owner()});
  remove(marked);
}

void PartialConversations::remove(const std::vector<Marked>& marked) {
  try {
    while (removeSome(marked, Amount::turn)) WriteTurn::letOthersWrite();
    return;
  } catch (const StoreError& error) {
    if (error.kind() != StoreError::Case::full) throw;
  }
  do store_.emptyLog();
  while (removeSome(marked, Amount::little));
  store_.emptyLog();
}

bool PartialConversations::removeSome(const std::vector<Marked>& marked, Amount amount) {
  return store_.write(
      Durability::processDeath,
      [&](Changes&) {
        const WriteTurn turn;
        for (const auto& [id, owner] : marked) {
          const auto row = find(id, owner);
          if (row && (removeSome(*row, amount, turn) || isEnough(amount, turn))) return true;
        }
        return false;
      },
      FullDisk::takesReserve);
}

bool PartialConversations::removeSome(ConversationRow conversation, Amount amount, const WriteTurn& turn) {
  while (conversations_.removeSomeItems(conversation)) {
    if (isEnough(amount, turn)) return true;
  }
  conversations_.remove(conversation);
  return false;
}

void PartialConversations::removeDead() {
  try {
    const auto dead = store_.read([&] {
      std::vector<Marked> found;
      auto row = all_.query();
      while (row.step()) {
        std::string owner = readText(row, 1);
        if (store_.container().processes().isAlive(owner)) continue;
        found.push_back({readId<ConversationId>(row, 0), std::move(owner)});
      }
      return found;
    });
    if (dead.empty()) return;
    remove(dead);
    kLog.warning("removed what processes that were killed have left of {} conversations", dead.size());
  } catch (const StoreError& error) {
    kLog.warning("what processes that were killed have left of conversations stays: {}", error.what());
  }
}

}  // namespace ravant
