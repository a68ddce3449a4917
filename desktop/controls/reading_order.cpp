#include "desktop/controls/reading_order.hpp"

#include <QAbstractItemModel>
#include <algorithm>
#include <utility>
#include <vector>

namespace ravant::desktop {

void ReadingOrder::setList(QQuickItem* list) {
  if (list_ == list) return;
  for (QObject* const left : {static_cast<QObject*>(list_), static_cast<QObject*>(rows_)}) {
    if (left) left->disconnect(this);
  }
  list_ = list;
  rows_ = list ? list->property("contentItem").value<QQuickItem*>() : nullptr;
  if (rows_) {
    connect(rows_, &QQuickItem::childrenChanged, this, &QQuickItem::polish);
    connect(list_, SIGNAL(modelChanged()), this, SLOT(followModel()));
  }
  followModel();
  Q_EMIT listChanged();
}

void ReadingOrder::followModel() {
  if (model_) model_->disconnect(this);
  auto* const model = list_ ? qobject_cast<QAbstractItemModel*>(list_->property("model").value<QObject*>()) : nullptr;
  model_ = model;
  if (model) {
    connect(model, &QAbstractItemModel::rowsMoved, this, &QQuickItem::polish);
    connect(model, &QAbstractItemModel::layoutChanged, this, &QQuickItem::polish);
  }
  polish();
}

void ReadingOrder::updatePolish() {
  if (!list_ || !rows_) return;
  // The rows stand where the view put them last.
  QMetaObject::invokeMethod(list_, "forceLayout");
  const QList<QQuickItem*> rows = rows_->childItems();
  if (std::ranges::is_sorted(rows, {}, &QQuickItem::y)) return;
  std::vector<std::pair<double, qsizetype>> places;
  for (qsizetype index = 0; index < rows.size(); ++index) places.emplace_back(rows[index]->y(), index);
  std::ranges::sort(places);
  QList<QQuickItem*> wanted;
  for (const auto& [y, index] : places) wanted.append(rows[index]);
  for (qsizetype index = 1; index < wanted.size(); ++index) {
    const QList<QQuickItem*> present = rows_->childItems();
    if (present[index] != wanted[index] || present[index - 1] != wanted[index - 1]) {
      wanted[index]->stackAfter(wanted[index - 1]);
    }
  }
}

}  // namespace ravant::desktop
