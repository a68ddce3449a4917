#include <algorithm>

#include "desktop/conversation/transcript_window.hpp"

namespace ravant::desktop {

void TranscriptWindow::keepPlace(int row, double above) {
  if (!isOpened_) return;
  std::optional<ReadingPlace> place;
  if (row >= 0 && row < rowCount()) {
    const TranscriptRow& at = rows_[static_cast<std::size_t>(row)];
    const ShownItem* const item = find(at.item);
    place = {.item = at.item, .row = at.key, .above = above};
    if (item) place->row = at.key.starts_with(item->key) ? at.key.substr(item->key.size()) : std::string();
  }
  if (std::exchange(reading_.place, std::move(place)) != reading_.place && !keeping_.isActive()) keeping_.start();
}

void TranscriptWindow::keepReading() {
  keeping_.stop();
  if (!shown_ || !isOpened_) return;
  std::erase_if(reading_.folds, [](const auto& each) { return each.second == ItemFolds(); });
  places_.keep(*shown_, reading_);
}

ItemFolds& TranscriptWindow::foldsOf(ConversationItemId item) {
  if (!keeping_.isActive()) keeping_.start();
  return reading_.folds[item];
}

ItemFolds& TranscriptWindow::foldsAt(const TranscriptRow& row) {
  return row.item != ConversationItemId() ? foldsOf(row.item) : growingFolds_[textKeyOf(row.key)];
}

ItemFolds TranscriptWindow::folds(ConversationItemId item) const {
  const auto own = reading_.folds.find(item);
  ItemFolds folds = own == reading_.folds.end() ? ItemFolds() : own->second;
  if (found_ && found_->item == item) desktop::open(folds, found_->folds);
  return folds;
}

std::optional<TranscriptWindow::Return> TranscriptWindow::returnOfReader() const {
  if (!reading_.place || items_.empty()) return std::nullopt;
  const ReadingPlace& place = *reading_.place;
  std::string key = place.row;
  if (place.item != ConversationItemId()) {
    const auto item = std::ranges::find(items_, place.item, [](const ShownItem& each) { return each.item.id; });
    if (item == items_.end()) return std::nullopt;
    key = item->key + place.row;
  } else if (std::ranges::find(rows_, key, &TranscriptRow::key) == rows_.end()) {
    // What was growing may be stored since.
    key = items_.back().key + key.substr(std::min(key.find('/'), key.size()));
  }
  if (const auto row = std::ranges::find(rows_, key, &TranscriptRow::key); row != rows_.end()) {
    return Return{.row = static_cast<int>(row - rows_.begin()), .above = place.above};
  }
  const auto first = rowOf(place.item == ConversationItemId() ? items_.back().item.id : place.item);
  return first ? std::optional(Return{.row = static_cast<int>(*first), .above = 0}) : std::nullopt;
}

void TranscriptWindow::keepOpenTexts(const ConversationItem& item) {
  const auto* group = std::get_if<ToolInvocationGroup>(&item.detail);
  const auto folds = reading_.folds.find(item.id);
  if (!group || folds == reading_.folds.end()) return;
  for (const ToolInvocation& call : group->invocations) {
    if (!folds->second.openCalls.contains(call.id)) continue;
    callTexts_[call.id] = {.input = call.input.value_or(""), .output = call.output.value_or("")};
  }
}

}  // namespace ravant::desktop
