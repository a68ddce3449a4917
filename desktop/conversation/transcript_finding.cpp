#include <algorithm>

#include "core/store/search/search_letter.hpp"
#include "desktop/conversation/transcript_window.hpp"

namespace ravant::desktop {
namespace {

/// All of it, then each of its words, the longest first.
std::vector<std::string> wordings(const QString& text) {
  std::vector<std::string> wordings{text.trimmed().toStdString()};
  QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
  std::ranges::sort(words, std::ranges::greater(), &QString::size);
  if (words.size() > 1) {
    for (const QString& word : words) wordings.push_back(word.toStdString());
  }
  return wordings;
}

bool isIn(const ShownItem& item, const std::map<ToolInvocationId, CallTexts>& texts, std::string_view folded) {
  if (folded.empty()) return false;
  if (contains(item.item.text, folded)) return true;
  const auto* group = std::get_if<ToolInvocationGroup>(&item.item.detail);
  return group && std::ranges::any_of(group->invocations, [&](const ToolInvocation& call) {
           const auto text = texts.find(call.id);
           return contains(call.toolName, folded) || contains(call.text, folded) ||
                  (text != texts.end() &&
                   (contains(text->second.input, folded) || contains(text->second.output, folded)));
         });
}

}  // namespace

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
      auto call = co_await alive(application_.transcripts().invocation(id));
      if (!turns_.isLatest(turn)) co_return;
      if (call) texts[id] = {.input = call->input.value_or(""), .output = call->output.value_or("")};
    }
  }
  ShownItem* const item = find(words.item);
  if (!item) {
    Q_EMIT placesChanged();
    co_return;
  }
  if (found_ && found_->item != words.item) foldAgain();

  const std::vector<std::string> wanted = wordings(words.text);
  const auto standing = std::ranges::find_if(
      wanted, [&](const std::string& wording) { return isIn(*item, texts, foldedForSearch(wording)); });
  const std::string& wording = standing == wanted.end() ? wanted.front() : *standing;
  FoundPlaces found{.item = words.item, .folded = foldedForSearch(wording)};
  if (found.folded.empty()) co_return;
  makeRows(*item);
  found.folds = foldsThatShow(*item, texts, found.folded);
  for (const ToolInvocationId call : found.folds.openCalls) callTexts_[call] = std::move(texts[call]);
  const std::string before = found_ && found_->place() ? found_->place()->row : std::string();
  found_ = std::move(found);
  makeRows(*item);
  update();
  found_->places = placesOf(*item, found_->folded);
  found_->current = words.direction == FindDirection::next || found_->places.empty() ? 0 : found_->places.size() - 1;
  setMarkedText(QString::fromStdString(wording));
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
