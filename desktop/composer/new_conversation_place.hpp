#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "desktop/loop/rereading.hpp"
#include "desktop/loop/view_model.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// Where the conversation would begin whose page is shown.
class NewConversationPlace : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QString projectName READ projectName NOTIFY changed)
  Q_PROPERTY(QString projectPath READ projectPath NOTIFY changed)

 public:
  explicit NewConversationPlace(QObject* parent = nullptr);

  QString projectName() const { return QString::fromStdString(project_.name); }
  QString projectPath() const { return QString::fromStdString(project_.path); }

 Q_SIGNALS:
  void changed();

 private:
  awaitable<void> read();

  DesktopWindow& window_;
  Project project_;
  Rereading rereading_{*this, [this] { return read(); }};
};

}  // namespace ravant::desktop
