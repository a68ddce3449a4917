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

QString storedTextOf(const ShownItem& shown) {
  QString text = QString::fromStdString(shown.item.text);
  const auto* group = std::get_if<ToolInvocationGroup>(&shown.item.detail);
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
  const auto [first, last] = std::minmax(from, to);
  std::set<ConversationItemId> selected;
  for (int row = std::max(first, 0); row <= last && row < rowCount(); ++row) selected.insert(itemAt(row));
  selected.erase(ConversationItemId());
  setSelected(std::move(selected));
}

void TranscriptWindow::clearSelection() { setSelected({}); }

void TranscriptWindow::setSelected(std::set<ConversationItemId> selected) {
  if (std::exchange(selected_, std::move(selected)) == selected_) return;
  Q_EMIT selectionChanged();
  if (rows_.empty()) return;
  Q_EMIT dataChanged(index(0), index(rowCount() - 1), {isSelectedRole});
}

QString TranscriptWindow::storedText(int row) const {
  QStringList texts;
  const ConversationItemId at = itemAt(row);
  for (const ShownItem& item : items_) {
    if (selected_.empty() ? item.item.id == at : selected_.contains(item.item.id)) texts.append(storedTextOf(item));
  }
  return texts.join(QStringLiteral("\n\n"));
}

void TranscriptWindow::copy(int row) {
  const QString text = storedText(row);
  if (!text.isEmpty()) QGuiApplication::clipboard()->setText(text);
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
  const ConversationItemId id(item.toLongLong());
  const auto row = rowOf(id);
  if (selected_.contains(id) && row) return copy(static_cast<int>(*row));
  if (const ShownItem* const shownItem = find(id)) QGuiApplication::clipboard()->setText(storedTextOf(*shownItem));
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

awaitable<void> TranscriptWindow::putRecordOnClipboard(ConversationItemId id) {
  const auto item = co_await alive(application_.transcripts().item(id));
  if (item) QGuiApplication::clipboard()->setText(QString::fromStdString(item->rawJSON));
}

}  // namespace ravant::desktop
