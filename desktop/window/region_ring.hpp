#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QQmlListProperty>
#include <QQuickItem>

namespace ravant::desktop {

/// The regions of the window, between which the keyboard's focus goes round; each takes it where it had it last.
class RegionRing : public QObject {
  Q_OBJECT
  QML_ELEMENT
  /// In their order; those that are not shown are passed over.
  Q_PROPERTY(QQmlListProperty<QQuickItem> regions READ regions CONSTANT)

 public:
  using QObject::QObject;

  QQmlListProperty<QQuickItem> regions() { return {this, &regions_}; }

  /// Gives the focus to the region, where something in it takes it.
  Q_INVOKABLE void enter(QQuickItem* region);
  Q_INVOKABLE void next() { step(1); }
  Q_INVOKABLE void previous() { step(-1); }

 private:
  void step(int by);

  QList<QQuickItem*> regions_;
};

}  // namespace ravant::desktop
