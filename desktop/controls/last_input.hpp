#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

namespace ravant::desktop {

/// With what the user worked last: keys, from the start on, or a pointer. What has the focus is marked only for who
/// works by keys.
class LastInput : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_SINGLETON
  Q_PROPERTY(bool byKeys READ isByKeys NOTIFY byKeysChanged)

 public:
  explicit LastInput(QObject* parent = nullptr);

  bool isByKeys() const { return isByKeys_; }
  bool eventFilter(QObject* watched, QEvent* event) override;

 Q_SIGNALS:
  void byKeysChanged();

 private:
  void set(bool byKeys);

  bool isByKeys_ = true;
};

}  // namespace ravant::desktop
