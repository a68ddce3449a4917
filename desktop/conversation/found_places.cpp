#include "desktop/conversation/found_places.hpp"

#include <algorithm>

#include "core/store/search/search_letter.hpp"
#include "desktop/text/html_writer.hpp"

namespace ravant::desktop {
namespace {

/// Of a call's text: where the words stand behind them, it is not unfolded.
constexpr std::size_t kMostPieces = 20;
/// Of the texts of all calls of an item that are unfolded.
constexpr std::size_t kMostPiecesOfItem = 60;
constexpr std::size_t kMostPlaces = 2000;

bool isLabelOnly(RowKind kind) { return kind == RowKind::toolCall || kind == RowKind::compaction; }

int countIn(const TranscriptRow& row, std::string_view folded) {
  int count = 0;
  const QString text = row.html.isEmpty() ? row.text : QString::fromStdString(plainText(row.html.toStdString()));
  for (const QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
    count += static_cast<int>(foundSpans(line, folded).size());
  }
  return count;
}

/// The row that shows the part of the item in which the words stand, though they are written otherwise there.
const TranscriptRow* rowBehind(const ShownItem& item, std::string_view folded) {
  const auto block =
      std::ranges::find_if(item.blocks, [&](const MarkdownBlock& each) { return contains(each.source, folded); });
  const auto row = std::ranges::find_if(item.rows, [&](const TranscriptRow& each) {
    if (!item.blocks.empty()) return block != item.blocks.end() && each.block == block - item.blocks.begin();
    return each.kind == RowKind::toolText && contains(each.source.toStdString(), folded);
  });
  if (row != item.rows.end()) return &*row;
  return item.rows.empty() ? nullptr : &item.rows.front();
}

/// All of it, then each of its words, the longest first.
std::vector<QString> wordings(const QString& text) {
  std::vector<QString> wordings{text.trimmed()};
  QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
  std::ranges::sort(words, std::ranges::greater(), &QString::size);
  if (words.size() > 1) wordings.insert(wordings.end(), words.begin(), words.end());
  return wordings;
}

bool isIn(const SearchedItem& searched, std::string_view folded) {
  if (folded.empty()) return false;
  const ConversationItem& item = searched.item.item;
  if (contains(item.text, folded)) return true;
  const auto* group = std::get_if<ToolInvocationGroup>(&item.detail);
  return group && std::ranges::any_of(group->invocations, [&](const ToolInvocation& call) {
           const auto text = searched.texts.find(call.id);
           return contains(call.toolName, folded) || contains(call.text, folded) ||
                  (text != searched.texts.end() &&
                   (contains(text->second.input, folded) || contains(text->second.output, folded)));
         });
}

/// What has to be open for all that an item says to be shown where the words stand in it.
ItemFolds foldsThatShow(const ShownItem& item, const std::map<ToolInvocationId, CallTexts>& texts,
                        std::string_view folded) {
  ItemFolds folds;
  for (const TranscriptRow& row : item.rows) {
    if (row.hiddenLines == 0 || row.kind == RowKind::toolText) continue;
    const std::string_view whole = item.blocks.empty() ? std::string_view(item.item.text)
                                                       : item.blocks[static_cast<std::size_t>(row.block)].source;
    if (contains(whole, folded)) folds.whole.insert(row.block);
  }
  const auto* group = std::get_if<ToolInvocationGroup>(&item.item.detail);
  if (!group) return folds;
  folds.isOpen = true;
  std::size_t opened = 0;
  for (const ToolInvocation& call : group->invocations) {
    const auto text = texts.find(call.id);
    if (text == texts.end()) continue;
    for (const CallPart part : {CallPart::input, CallPart::output}) {
      const auto pieces = callPieces(text->second, part, kMostPieces);
      const auto piece =
          std::ranges::find_if(pieces, [&](const QString& each) { return contains(each.toStdString(), folded); });
      if (piece == pieces.end()) continue;
      const auto shown = static_cast<std::size_t>(piece - pieces.begin()) + 1;
      if (opened + shown > kMostPiecesOfItem) return folds;
      opened += shown;
      folds.openCalls.insert(call.id);
      if (shown > 1) folds.pieces[{call.id, part}] = static_cast<int>(shown);
    }
  }
  return folds;
}

/// In the rows of the item, from the top to the bottom; where the words stand in none of them, the row they come from.
std::vector<FoundPlaces::Place> placesOf(const ShownItem& item, std::string_view folded) {
  std::vector<FoundPlaces::Place> places;
  for (const TranscriptRow& row : item.rows) {
    if (row.kind == RowKind::toolGroup) continue;
    if (places.size() >= kMostPlaces) break;
    const int count = countIn(row, folded);
    if (isLabelOnly(row.kind)) {
      if (count > 0) places.push_back({row.key, 0});
      continue;
    }
    for (int nth = 1; nth <= count; ++nth) places.push_back({row.key, nth});
  }
  if (!places.empty()) return places;
  if (const TranscriptRow* const row = rowBehind(item, folded)) places.push_back({row->key, 0});
  return places;
}

}  // namespace

bool contains(std::string_view text, std::string_view folded) {
  return !folded.empty() && findFolded(text, folded).has_value();
}

std::vector<FoundSpan> foundSpans(QStringView line, std::string_view folded) {
  std::vector<FoundSpan> spans;
  if (folded.empty()) return spans;
  const std::string text = line.toUtf8().toStdString();
  const auto units = [&](std::size_t begin, std::size_t end) {
    return QString::fromUtf8(text.data() + begin, static_cast<qsizetype>(end - begin)).size();
  };
  qsizetype place = 0;
  for (std::size_t at = 0; at < text.size();) {
    const auto span = findFolded(std::string_view(text).substr(at), folded);
    if (!span || span->end == span->begin) break;
    place += units(at, at + span->begin);
    const qsizetype length = units(at + span->begin, at + span->end);
    spans.push_back({place, length});
    place += length;
    at += span->end;
  }
  return spans;
}

void open(ItemFolds& folds, const ItemFolds& others) {
  if (others.isOpen) folds.isOpen = others.isOpen;
  folds.openCalls.insert(others.openCalls.begin(), others.openCalls.end());
  folds.whole.insert(others.whole.begin(), others.whole.end());
  for (const auto& [text, pieces] : others.pieces) {
    int& shown = folds.pieces[text];
    shown = std::max(shown, pieces);
  }
}

std::optional<FoundWords> foundWords(SearchedItem searched, const QString& words) {
  const std::vector<QString> wanted = wordings(words);
  const auto fold = [](const QString& wording) { return foldedForSearch(wording.toStdString()); };
  const auto standing =
      std::ranges::find_if(wanted, [&](const QString& wording) { return isIn(searched, fold(wording)); });
  FoundWords found{.words = standing == wanted.end() ? wanted.front() : *standing, .places = {}};
  found.places = {.item = searched.item.item.id, .folded = fold(found.words)};
  const std::string& folded = found.places.folded;
  if (folded.empty()) return std::nullopt;
  const auto rows = [&](const ItemFolds& folds) {
    return rowsOf(searched.item, folds, {.agent = searched.agent, .now = searched.now, .callTexts = searched.texts});
  };
  searched.item.rows = rows(searched.folds);
  found.places.folds = foldsThatShow(searched.item, searched.texts, folded);
  found.folds = std::move(searched.folds);
  open(found.folds, found.places.folds);
  searched.item.rows = rows(found.folds);
  found.places.places = placesOf(searched.item, folded);
  for (const ToolInvocationId call : found.places.folds.openCalls) found.texts[call] = std::move(searched.texts[call]);
  found.rows = std::move(searched.item.rows);
  return found;
}

}  // namespace ravant::desktop
