#pragma once

#include <QStringView>
#include <cstddef>
#include <map>
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

/// An item in which words are looked for.
struct SearchedItem {
  ShownItem item;
  ItemFolds folds;
  QString agent;  ///< its display name
  Timestamp now;
  std::map<ToolInvocationId, CallTexts> texts;  ///< of all calls
};

struct FoundWords {
  QString words;
  FoundPlaces places;
  /// What is open with `places`, and the rows of the item then.
  ItemFolds folds = {};
  std::vector<TranscriptRow> rows = {};
  std::map<ToolInvocationId, CallTexts> texts = {};  ///< of the calls that were opened
};

/// Where the words stand in an item: all of them one behind the other, else the first of them that stands in it, the
/// longest first. Nothing where no words are. Takes as long as the item is.
std::optional<FoundWords> foundWords(SearchedItem searched, const QString& words);
/// Both are open.
void open(ItemFolds& folds, const ItemFolds& others);
bool contains(std::string_view text, std::string_view folded);

}  // namespace ravant::desktop
