#include "desktop/conversation/found_places.hpp"

#include <QTextDocument>
#include <algorithm>

#include "core/store/search/search_letter.hpp"

namespace ravant::desktop {
namespace {

/// Lines of a call's output: where the words stand behind them, the output is not unfolded.
constexpr int kMostOutputLines = 4000;
/// Behind a place.
constexpr int kLinesAround = 20;

bool isLabelOnly(RowKind kind) { return kind == RowKind::toolCall || kind == RowKind::compaction; }

QString textOf(const TranscriptRow& row) {
  if (row.html.isEmpty()) return row.text;
  QTextDocument document;
  document.setHtml(row.html);
  return document.toPlainText();
}

int countIn(const TranscriptRow& row, std::string_view folded) {
  int count = 0;
  const QString text = textOf(row);
  for (const QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
    count += static_cast<int>(foundSpans(line, folded).size());
  }
  return count;
}

/// From 0.
int lineOf(std::string_view text, std::string_view folded) {
  const auto span = findFolded(text, folded);
  return span ? static_cast<int>(std::ranges::count(text.substr(0, span->begin), '\n')) : -1;
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
  for (const ToolInvocation& call : group->invocations) {
    const auto text = texts.find(call.id);
    if (text == texts.end()) continue;
    const int line = lineOf(text->second.output, folded);
    if (line >= 0 || contains(text->second.input, folded)) folds.openCalls.insert(call.id);
    if (line + kLinesAround > kShownOutputLines && line < kMostOutputLines) {
      folds.outputLines[call.id] = line + kLinesAround;
    }
  }
  return folds;
}

void open(ItemFolds& folds, const ItemFolds& others) {
  if (others.isOpen) folds.isOpen = others.isOpen;
  folds.openCalls.insert(others.openCalls.begin(), others.openCalls.end());
  folds.whole.insert(others.whole.begin(), others.whole.end());
  for (const auto& [call, lines] : others.outputLines) {
    int& shown = folds.outputLines[call];
    shown = std::max(shown, lines);
  }
}

std::vector<FoundPlaces::Place> placesOf(const ShownItem& item, std::string_view folded) {
  std::vector<FoundPlaces::Place> places;
  for (const TranscriptRow& row : item.rows) {
    if (row.kind == RowKind::toolGroup) continue;
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

}  // namespace ravant::desktop
