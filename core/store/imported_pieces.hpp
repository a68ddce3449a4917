#pragma once

#include <cstddef>
#include <deque>
#include <optional>

#include "core/store/store_connection.hpp"
#include "core/store/transcript_import.hpp"
#include "core/store/write_turn.hpp"

namespace ravant {

/// What an import brings, in pieces for one transaction each.
class ImportedPieces {
 public:
  explicit ImportedPieces(const NextImportedItem& next) : next_(next) {}

  /// Before a transaction: gets what it may need.
  void read();

  /// Within it; nothing where another one has to go on.
  std::optional<ConversationItem> take(const WriteTurn& turn);

  /// Whether everything was taken.
  bool areOver() const { return isReadWhole_ && items_.empty(); }

  /// Of the transaction, for it may be the last.
  Durability durability() const { return isReadWhole_ ? Durability::powerCut : Durability::processDeath; }

 private:
  const NextImportedItem& next_;
  std::deque<ConversationItem> items_;
  std::size_t bytes_ = 0;
  bool isReadWhole_ = false;
};

}  // namespace ravant
