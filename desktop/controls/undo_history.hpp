#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QQuickTextDocument>

namespace ravant::desktop {

/// What can be undone in a text that is written. Of itself, that goes on over another text which is set.
class UndoHistory : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QQuickTextDocument* document MEMBER document_ NOTIFY documentChanged REQUIRED)

 public:
  using QObject::QObject;

  Q_INVOKABLE void clear();

 Q_SIGNALS:
  void documentChanged();

 private:
  QQuickTextDocument* document_ = nullptr;
};

}  // namespace ravant::desktop
