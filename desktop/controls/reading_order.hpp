#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPointer>
#include <QQuickItem>

namespace ravant::desktop {

/// Has screen readers tell the rows of a list in the order in which they stand. They are told in the order of the
/// items, and a view makes those in any order, as it scrolls and as rows come and move.
class ReadingOrder : public QQuickItem {
  Q_OBJECT
  QML_ELEMENT
  /// A view.
  Q_PROPERTY(QQuickItem* list READ list WRITE setList NOTIFY listChanged)

 public:
  using QQuickItem::QQuickItem;

  QQuickItem* list() const { return list_; }
  void setList(QQuickItem* list);

 Q_SIGNALS:
  void listChanged();

 protected:
  void updatePolish() override;

 private Q_SLOTS:
  void followModel();

 private:
  QPointer<QQuickItem> list_;
  QPointer<QQuickItem> rows_;
  QPointer<QObject> model_;
};

}  // namespace ravant::desktop
