#include <QClipboard>
#include <QGuiApplication>
#include <algorithm>
#include <cstdlib>

#include "desktop/conversation/link_opener.hpp"
#include "desktop/conversation/transcript_window.hpp"

namespace ravant::desktop {
namespace {

bool isStop(const TranscriptRow& row) {
  return row.kind != RowKind::unread && row.kind != RowKind::stopped && row.kind != RowKind::toolText &&
         (row.isFirst || row.kind == RowKind::toolCall || row.item == ConversationItemId());
}

QString storedTextOf(const ConversationItem& item) {
  QString text = QString::fromStdString(item.text);
  const auto* group = std::get_if<ToolInvocationGroup>(&item.detail);
  if (!group) return text;
  QStringList calls;
  for (const ToolInvocation& call : group->invocations) {
    calls.append(QString::fromStdString(call.text.empty() ? call.toolName : call.text));
  }
  return calls.join(QLatin1Char('\n'));
}

}  // namespace

int TranscriptWindow::stopOf(int row) const {
  if (row < 0 || row >= rowCount()) return -1;
  while (row > 0 && !isStop(rows_[static_cast<std::size_t>(row)])) --row;
  return row;
}

int TranscriptWindow::nextStop(int row, int direction) const {
  const int from = stopOf(row);
  for (int next = from + direction; next >= 0 && next < rowCount(); next += direction) {
    if (isStop(rows_[static_cast<std::size_t>(next)])) return next;
  }
  return from;
}

void TranscriptWindow::select(int from, int to) {
  if (items_.empty()) return;
  // What is not stored yet stands behind the last item.
  const auto placeOf = [this](int row) {
    const ShownItem* const item = find(itemAt(row));
    return ItemPlace::of(item ? item->item : items_.back().item);
  };
  ItemSelection selected = selected_;
  selected.extend(placeOf(from), placeOf(to));
  setSelected(selected);
}

void TranscriptWindow::clearSelection() { setSelected({}); }

void TranscriptWindow::setSelected(const ItemSelection& selected) {
  if (std::exchange(selected_, selected) == selected) return;
  Q_EMIT selectionChanged();
  if (rows_.empty()) return;
  Q_EMIT dataChanged(index(0), index(rowCount() - 1), {isSelectedRole});
}

bool TranscriptWindow::isSelected(const TranscriptRow& row) const {
  if (selected_.isNone() || row.kind == RowKind::unread) return false;
  const auto item = std::ranges::find(items_, row.item, [](const ShownItem& each) { return each.item.id; });
  return item != items_.end() && selected_.contains(ItemPlace::of(item->item));
}

void TranscriptWindow::copy(int row) {
  if (!selected_.isNone()) return start(putSelectionOnClipboard());
  const ShownItem* const item = find(itemAt(row));
  const QString text = item ? storedTextOf(item->item) : growingTextAt(row);
  if (!text.isEmpty()) QGuiApplication::clipboard()->setText(text);
}

QString TranscriptWindow::growingTextAt(int row) const {
  const LiveRun* const run = shown_ ? live_.find(*shown_) : nullptr;
  if (!run || row < 0 || row >= rowCount()) return {};
  const std::string key = textKeyOf(rows_[static_cast<std::size_t>(row)].key);
  if (run->growing && run->growing->key == key) return QString::fromStdString(run->growing->text);
  const auto complete = std::ranges::find(run->complete, key, &GrowingText::key);
  return complete == run->complete.end() ? QString() : QString::fromStdString(complete->text);
}

void TranscriptWindow::copyBlock(int row) {
  if (row < 0 || row >= rowCount()) return;
  const QString& source = rows_[static_cast<std::size_t>(row)].source;
  if (source.isEmpty()) return copy(row);
  QGuiApplication::clipboard()->setText(source);
}

QString TranscriptWindow::itemOf(int row) const {
  const ConversationItemId item = itemAt(row);
  return item == ConversationItemId() ? QString() : textOf(item);
}

void TranscriptWindow::copyItem(const QString& item) {
  const ShownItem* const at = find(ConversationItemId(item.toLongLong()));
  if (!at) return;
  if (selected_.contains(ItemPlace::of(at->item))) return start(putSelectionOnClipboard());
  QGuiApplication::clipboard()->setText(storedTextOf(at->item));
}

void TranscriptWindow::copyRecord(const QString& item) {
  start(putRecordOnClipboard(ConversationItemId(item.toLongLong())));
}

void TranscriptWindow::copyLink() const {
  QGuiApplication::clipboard()->setText(QStringLiteral("ravant-desktop --conversation %1").arg(conversation()));
}

QStringList TranscriptWindow::linksAt(int row) const {
  QStringList links;
  const int stop = stopOf(row);
  for (int each = std::max(stop, 0); each < rowCount() && stopOf(each) == stop; ++each) {
    links += rows_[static_cast<std::size_t>(each)].links;
  }
  links.removeDuplicates();
  return links;
}

QString TranscriptWindow::linkTarget(const QString& link) const { return targetOfLink(link); }

awaitable<void> TranscriptWindow::putSelectionOnClipboard() {
  if (!shown_ || selected_.isNone()) co_return;
  const ConversationId conversation = *shown_;
  const ItemPlace first = selected_.first();
  const ItemPlace last = selected_.last();
  QStringList texts;
  if (const auto item = co_await alive(reader_->item(first.id))) texts.append(storedTextOf(*item));
  for (std::optional anchor = first.id; anchor;) {
    const auto page = co_await alive(reader_->page(conversation, anchor, PageDirection::after, kPageItems));
    anchor.reset();
    for (const ConversationItem& item : page) {
      if (last < ItemPlace::of(item)) break;
      texts.append(storedTextOf(item));
      if (item.id == page.back().id) anchor = item.id;
    }
  }
  QGuiApplication::clipboard()->setText(texts.join(QStringLiteral("\n\n")));
}

awaitable<void> TranscriptWindow::putRecordOnClipboard(ConversationItemId id) {
  const auto item = co_await alive(reader_->item(id));
  if (item) QGuiApplication::clipboard()->setText(QString::fromStdString(item->rawJSON));
}

}  // namespace ravant::desktop
