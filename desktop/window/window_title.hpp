#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "desktop/loop/rereading.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// "TITLE — Ravant" while a conversation is shown, else "Ravant".
class WindowTitle : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QString text READ text NOTIFY changed)

 public:
  explicit WindowTitle(QObject* parent = nullptr) : WindowTitle(DesktopWindow::instance(), parent) {}
  WindowTitle(DesktopWindow& window, QObject* parent);

  const QString& text() const { return text_; }

 Q_SIGNALS:
  void changed();

 private:
  awaitable<void> read();
  void show(const QString& text);

  DesktopWindow& window_;
  Rereading rereading_{*this, [this] { return read(); }};
  QString text_ = QStringLiteral("Ravant");
};

}  // namespace ravant::desktop
