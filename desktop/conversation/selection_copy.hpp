#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>

namespace ravant::desktop {

/// Has the keys that copy mean what is selected in an area, though a field beside it has the keyboard: as long as
/// nothing was selected in the field since.
class SelectionCopy : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QQuickItem* area MEMBER area_ NOTIFY areaChanged REQUIRED)
  Q_PROPERTY(bool isSelected READ isSelected WRITE setSelected NOTIFY isSelectedChanged)

 public:
  explicit SelectionCopy(QObject* parent = nullptr) : QObject(parent) {}

  bool isSelected() const { return isSelected_; }
  void setSelected(bool isSelected);

  bool eventFilter(QObject* watched, QEvent* event) override;

 Q_SIGNALS:
  void areaChanged();
  void isSelectedChanged();
  void copied();

 private:
  struct FieldSelection {
    QPointer<QObject> field;
    int begin = 0;
    int end = 0;

    bool operator==(const FieldSelection&) const = default;
  };
  static FieldSelection fieldSelection();

  QPointer<QQuickItem> area_;
  QPointer<QQuickWindow> window_;
  bool isSelected_ = false;
  FieldSelection before_;  ///< what was selected in a field when the area's selection was made
};

}  // namespace ravant::desktop
