#include <algorithm>

#include "desktop/conversation/transcript_window.hpp"
#include "platform/async/on_pool.hpp"

namespace ravant::desktop {

void TranscriptWindow::showWords(ConversationItemId item, const QString& words, FindDirection direction) {
  work_.around = item;
  work_.words = ShownWords{item, words, direction};
  work();
}

bool TranscriptWindow::stepPlace(FindDirection direction) {
  if (!found_) return false;
  const bool isNext = direction == FindDirection::next;
  if (isNext ? found_->current + 1 >= found_->places.size() : found_->current == 0) return false;
  const std::string before = found_->place()->row;
  found_->current += isNext ? 1U : static_cast<std::size_t>(-1);
  placeChangesFrom(before);
  return true;
}

void TranscriptWindow::showPlaceAgain() {
  const auto row = std::ranges::find_if(rows_, [&](const TranscriptRow& each) { return placeIn(each) != 0; });
  if (row != rows_.end()) Q_EMIT placed(static_cast<int>(row - rows_.begin()));
}

void TranscriptWindow::leavePlaces() {
  keepUnfolded();
  const std::string before = found_ && found_->place() ? found_->place()->row : std::string();
  found_.reset();
  placeChangesFrom(before);
}

std::optional<ConversationItemId> TranscriptWindow::lastVisible() const {
  if (!visible_ || visible_->second == ConversationItemId()) return std::nullopt;
  return visible_->second;
}

awaitable<void> TranscriptWindow::findPlaces(ShownWords words, Turns::Turn turn) {
  std::map<ToolInvocationId, CallTexts> texts;
  if (const ShownItem* const item = find(words.item)) {
    std::vector<ToolInvocationId> calls;
    if (const auto* group = std::get_if<ToolInvocationGroup>(&item->item.detail)) {
      for (const ToolInvocation& call : group->invocations) calls.push_back(call.id);
    }
    for (const ToolInvocationId id : calls) {
      auto call = co_await alive(reader_->invocation(id));
      if (!turns_.isLatest(turn)) co_return;
      if (call) texts[id] = {.input = call->input.value_or(""), .output = call->output.value_or("")};
    }
  }
  const ShownItem* const searchedItem = find(words.item);
  if (!searchedItem) {
    Q_EMIT placesChanged();
    co_return;
  }
  const auto own = reading_.folds.find(words.item);
  const auto searched =
      std::make_shared<SearchedItem>(SearchedItem{.item = *searchedItem,
                                                  .folds = own == reading_.folds.end() ? ItemFolds() : own->second,
                                                  .agent = agent_,
                                                  .now = application_.modelContainer()->clock().now(),
                                                  .texts = std::move(texts)});
  auto found = co_await alive(onPool(application_.modelContainer()->work(),
                                     [searched, text = words.text] { return foundWords(std::move(*searched), text); }));
  if (!turns_.isLatest(turn) || !found) co_return;
  showFound(*std::move(found), words.direction);
}

void TranscriptWindow::showFound(FoundWords found, FindDirection direction) {
  ShownItem* const item = find(found.places.item);
  if (!item) {
    Q_EMIT placesChanged();
    return;
  }
  const std::string before = found_ && found_->place() ? found_->place()->row : std::string();
  if (found_ && found_->item != found.places.item) foldAgain();
  callTexts_.merge(std::move(found.texts));
  found_ = std::move(found.places);
  found_->current = direction == FindDirection::next || found_->places.empty() ? 0 : found_->places.size() - 1;
  if (folds(found_->item) == found.folds) {
    item->rows = std::move(found.rows);
  } else {
    makeRows(*item);
  }
  update();
  setMarkedText(found.words);
  placeChangesFrom(before);
}

void TranscriptWindow::keepUnfolded() {
  if (!found_) return;
  desktop::open(foldsOf(found_->item), found_->folds);
  found_->folds = {};
}

void TranscriptWindow::foldAgain() {
  const FoundPlaces left = *std::exchange(found_, std::nullopt);
  const ItemFolds stay = folds(left.item);
  for (const ToolInvocationId call : left.folds.openCalls) {
    if (!stay.openCalls.contains(call)) callTexts_.erase(call);
  }
  if (ShownItem* const item = find(left.item)) makeRows(*item);
  update();
}

int TranscriptWindow::placeIn(const TranscriptRow& row) const {
  const FoundPlaces::Place* const place = found_ ? found_->place() : nullptr;
  if (!place || place->row != row.key) return 0;
  return place->nth == 0 ? -1 : place->nth;
}

void TranscriptWindow::placeChangesFrom(const std::string& before) {
  const FoundPlaces::Place* const place = found_ ? found_->place() : nullptr;
  std::optional<int> current;
  for (int row = 0; row < rowCount(); ++row) {
    const std::string& key = rows_[static_cast<std::size_t>(row)].key;
    const bool isCurrent = place && key == place->row;
    if (isCurrent) current = row;
    if (isCurrent || key == before) Q_EMIT dataChanged(index(row), index(row), {placeRole});
  }
  Q_EMIT placesChanged();
  if (current) Q_EMIT placed(*current);
}

}  // namespace ravant::desktop
