#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/store/conversation_table.hpp"
#include "core/store/write_turn.hpp"

namespace ravant {

/// Conversations that are brought in or removed by more than one transaction. Each is marked with the process that does
/// it (`importer`), and is none for everybody else: until the mark is taken off, or for good.
class PartialConversations {
 public:
  explicit PartialConversations(StoreConnection& store);

  /// For operations that run in a transaction of their own: puts this process's mark on, or takes it off.
  void mark(ConversationRow conversation);
  void unmark(ConversationRow conversation);
  /// One with this process's mark; nothing where it has gone with its project.
  std::optional<ConversationRow> find(ConversationId id);
  /// How much one transaction removes: what its turn allows, or so little that its log has room on a full disk.
  enum class Amount { turn, little };
  /// What `begin(Amount)` returns for a turn or, where a full disk has no room for the log of one, for little.
  template <class Begin>
  static auto asMuchAsFits(Begin begin) {
    try {
      return begin(Amount::turn);
    } catch (const StoreError& error) {
      if (error.kind() != StoreError::Case::full) throw;
    }
    return begin(Amount::little);
  }
  /// Removes so much. Where something is left, the conversation is marked, for `remove`.
  bool beginRemoval(ConversationRow conversation, Amount amount);
  /// Removes so much of the project's conversations, whoever has marked them. Where some are left, they are marked, for
  /// `remove`, and returned, and all that were there for others are announced as removed.
  std::vector<ConversationId> beginRemoval(ProjectId project, Amount amount, Changes& changes);

  /// Operations by themselves, which let others write in between. `remove`: what is left of those that this process has
  /// marked, on a full disk too. `removeDead`: all whose process is dead; what cannot be removed stays for the next
  /// time.
  void remove(const std::vector<ConversationId>& ids);
  void removeDead();

 private:
  struct Marked {
    ConversationId id;
    std::string owner;
  };
  struct Member {
    ConversationId id;
    ConversationRow row;
    bool isWhole;
  };

  std::optional<ConversationRow> find(ConversationId id, std::string_view owner);
  std::vector<Member> membersOf(ProjectId project);
  void remove(const std::vector<Marked>& marked);
  /// False when nothing is left.
  bool removeSome(const std::vector<Marked>& marked, Amount amount);
  bool removeSome(ConversationRow conversation, Amount amount, const WriteTurn& turn);
  static bool isEnough(Amount amount, const WriteTurn& turn) { return amount == Amount::little || turn.isOver(); }

  StoreConnection& store_;
  ConversationTable conversations_;
  sqlite::Statement mark_;
  sqlite::Statement markMembers_;
  sqlite::Statement members_;
  sqlite::Statement find_;
  sqlite::Statement all_;
};

}  // namespace ravant
