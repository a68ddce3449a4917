#pragma once

#include <QStringView>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/conversation/item_rows.hpp"

namespace ravant::desktop {

/// A part of a text, in its UTF-16 units.
struct FoundSpan {
  qsizetype begin = 0;
  qsizetype length = 0;

  bool operator==(const FoundSpan&) const = default;
};

/// Where `folded` stands in a line, whatever its case and accents.
std::vector<FoundSpan> foundSpans(QStringView line, std::string_view folded);

/// The words that were found in an item, and what was unfolded to show them.
struct FoundPlaces {
  /// `nth` counts the places of a row from 1; 0 for a row as a whole.
  struct Place {
    std::string row;  ///< its key
    int nth = 0;

    bool operator==(const Place&) const = default;
  };

  ConversationItemId item;
  std::string folded;
  ItemFolds folds = {};
  std::vector<Place> places = {};
  std::size_t current = 0;

  const Place* place() const { return current < places.size() ? &places[current] : nullptr; }
};

/// What has to be open, beside `folds`, for all that an item says to be shown where the words stand in it.
ItemFolds foldsThatShow(const ShownItem& item, const std::map<ToolInvocationId, CallTexts>& texts,
                        std::string_view folded);
/// Both are open.
void open(ItemFolds& folds, const ItemFolds& others);
/// In the rows of the item, from the top to the bottom; where the words stand in none of them, the row they come from.
std::vector<FoundPlaces::Place> placesOf(const ShownItem& item, std::string_view folded);
bool contains(std::string_view text, std::string_view folded);

}  // namespace ravant::desktop
