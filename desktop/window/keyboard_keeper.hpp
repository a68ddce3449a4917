#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QTimer>
#include <vector>

namespace ravant::desktop {

/// Sees to it that the keyboard is always somewhere: in the prompt of what is newly shown, and when what had it is gone
/// or hidden, in what had it before.
class KeyboardKeeper : public QObject {
  Q_OBJECT
  QML_ELEMENT
  /// The part of the window that is looked after. What floats above it keeps the keyboard while it is there.
  Q_PROPERTY(QQuickItem* within READ within WRITE setWithin NOTIFY withinChanged)

 public:
  explicit KeyboardKeeper(QObject* parent = nullptr);

  QQuickItem* within() const { return within_; }
  void setWithin(QQuickItem* part);

  /// What nothing with the keyboard had a use for goes to the prompt, where it is a letter. False where it does not.
  Q_INVOKABLE bool takeKey(const QString& text, int modifiers);

 Q_SIGNALS:
  void withinChanged();
  /// Nothing that had the keyboard before can take it.
  void lost();

 private:
  void followWindow(QQuickWindow* window);
  void lookSoon() { soon_.start(); }
  void look();
  void note(QQuickItem* focused);
  /// False where none is left.
  bool goBack();
  bool isIn(const QQuickItem* item) const;
  bool isPlace(const QQuickItem* item) const;

  QPointer<QQuickItem> within_;
  QPointer<QQuickWindow> window_;
  std::vector<QPointer<QQuickItem>> had_;  ///< the latest last
  QList<QMetaObject::Connection> ofFocused_;
  QTimer soon_;
  QString shown_;
  bool wantsPrompt_ = false;  ///< as soon as nothing floats above the part
};

}  // namespace ravant::desktop
