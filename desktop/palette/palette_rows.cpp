#include "desktop/palette/palette_rows.hpp"

#include <algorithm>
#include <ranges>

namespace ravant::desktop {
namespace {

QString nameOf(const PaletteRow& row) {
  return row.subtitle.isEmpty() ? row.title : QStringLiteral("%1, %2").arg(row.title, row.subtitle);
}

int titledSections(const std::vector<PaletteRow>& rows) {
  int count = 0;
  QString last;
  for (const PaletteRow& row : rows) {
    if (std::exchange(last, row.section) != row.section && !row.section.isEmpty()) ++count;
  }
  return count;
}

}  // namespace

void PaletteRows::step(int by) {
  const int count = rowCount();
  if (count > 0) setCurrent((current_ + by % count + count) % count);
}

void PaletteRows::setQuery(const QString& query) {
  if (query == query_) return;
  query_ = query;
  Q_EMIT queryChanged();
  look();
}

void PaletteRows::clearQuery() {
  query_.clear();
  Q_EMIT queryChanged();
}

void PaletteRows::setCurrent(int row) {
  const int possible = std::clamp(row, std::min(0, rowCount() - 1), rowCount() - 1);
  current_ = possible;
  Q_EMIT currentChanged();
}

QString PaletteRows::currentName() const {
  return current_ < 0 ? QString() : nameOf(rows_.at(static_cast<std::size_t>(current_)));
}

void PaletteRows::show(std::vector<PaletteRow> rows, int current, const QString& emptyWords) {
  const int before = count();
  announce(std::move(rows));
  if (count() != before) Q_EMIT countChanged();
  const int sections = titledSections(rows_);
  if (std::exchange(sectionCount_, sections) != sections) Q_EMIT sectionCountChanged();
  current_ = std::clamp(current, std::min(0, rowCount() - 1), rowCount() - 1);
  Q_EMIT currentChanged();
  const QString words = rows_.empty() ? emptyWords : QString();
  if (std::exchange(emptyWords_, words) != words) Q_EMIT emptyWordsChanged();
}

// Rows before and behind those that differ stay what they are.
void PaletteRows::announce(std::vector<PaletteRow> rows) {
  const auto isSame = [](const PaletteRow& one, const PaletteRow& other) {
    return one.id == other.id && one.section == other.section;
  };
  const auto before = static_cast<int>(std::ranges::mismatch(rows_, rows, isSame).in1 - rows_.begin());
  const auto behind = std::min(
      static_cast<int>(std::ranges::mismatch(std::views::reverse(rows_), std::views::reverse(rows), isSame).in1 -
                       rows_.rbegin()),
      static_cast<int>(std::min(rows_.size(), rows.size())) - before);
  const int removed = static_cast<int>(rows_.size()) - before - behind;
  const int added = static_cast<int>(rows.size()) - before - behind;
  if (removed > 0) {
    beginRemoveRows({}, before, before + removed - 1);
    rows_.erase(rows_.begin() + before, rows_.begin() + before + removed);
    endRemoveRows();
  }
  if (added > 0) {
    beginInsertRows({}, before, before + added - 1);
    rows_.insert(rows_.begin() + before, rows.begin() + before, rows.begin() + before + added);
    endInsertRows();
  }
  for (std::size_t at = 0; at < rows_.size(); ++at) {
    if (rows_[at] == rows[at]) continue;
    rows_[at] = std::move(rows[at]);
    const QModelIndex changed = index(static_cast<int>(at));
    Q_EMIT dataChanged(changed, changed);
  }
}

int PaletteRows::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant PaletteRows::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
  const PaletteRow& row = rows_.at(static_cast<std::size_t>(index.row()));
  switch (role) {
    case titleRole:
      return row.title;
    case markupRole:
      return row.markup;
    case subtitleRole:
      return row.subtitle;
    case iconRole:
      return row.icon;
    case keysRole:
      return row.keys;
    case sectionRole:
      return row.section;
    case nameRole:
      return nameOf(row);
    default:
      return {};
  }
}

QHash<int, QByteArray> PaletteRows::roleNames() const {
  return {{titleRole, "title"}, {markupRole, "markup"},   {subtitleRole, "subtitle"}, {iconRole, "iconName"},
          {keysRole, "keys"},   {sectionRole, "section"}, {nameRole, "name"}};
}

}  // namespace ravant::desktop
