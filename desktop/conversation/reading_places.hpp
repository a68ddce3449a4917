#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/application.hpp"
#include "desktop/conversation/item_rows.hpp"
#include "desktop/loop/view_model.hpp"

namespace ravant::desktop {

/// The row at the upper edge of what a reader sees.
struct ReadingPlace {
  /// The default where the row is not stored.
  ConversationItemId item = {};
  /// Of the rows of the item: what its key has behind the item's.
  std::string row = {};
  /// Pixels of the row that are above the edge.
  double above = 0;

  bool operator==(const ReadingPlace&) const = default;
};

/// How a reader left a conversation.
struct Reading {
  /// Absent for who is at the end, wherever that is.
  std::optional<ReadingPlace> place = {};
  std::map<ConversationItemId, ItemFolds> folds = {};

  bool isNone() const { return !place && folds.empty(); }
  bool operator==(const Reading&) const = default;
};

/// How the conversations were left that were read last, in this run of the program and, by a file, in those before. A
/// file that cannot be read or written is logged, and counts as none.
///
/// On the interface thread.
class ReadingPlaces : public ViewModel {
 public:
  static constexpr std::size_t kMost = 200;

  explicit ReadingPlaces(Application& application);

  awaitable<Reading> of(ConversationId conversation);
  /// Written by and by; nothing where that is how it is kept.
  void keep(ConversationId conversation, const Reading& reading);

 private:
  using Kept = std::vector<std::pair<ConversationId, Reading>>;

  awaitable<void> read();
  awaitable<void> write();

  Application& application_;
  std::filesystem::path file_;
  Kept kept_;  ///< that which was left last at the end
  bool isRead_ = false;
  bool isWritten_ = true;
  bool isWriting_ = false;
};

/// The file's text, and what such a text says: what it says wrongly is left out.
std::string encodedReadings(const std::vector<std::pair<ConversationId, Reading>>& kept);
std::vector<std::pair<ConversationId, Reading>> decodedReadings(std::string_view text);

}  // namespace ravant::desktop
