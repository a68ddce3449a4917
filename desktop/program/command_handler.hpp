#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>

namespace ravant::desktop {

/// What a part of the window does for a command: `CommandHandler { command: "find"; onTriggered: find.open() }`.
///
/// The window can run the command while an enabled handler of it exists; the one of the part that has the
/// keyboard is triggered, else the youngest.
class CommandHandler : public QObject {
  Q_OBJECT
  QML_ELEMENT
  /// The command's name, as in the settings.
  Q_PROPERTY(QString command MEMBER command_ NOTIFY changed REQUIRED)
  Q_PROPERTY(bool enabled MEMBER enabled_ NOTIFY changed)

 public:
  explicit CommandHandler(QObject* parent = nullptr);
  ~CommandHandler() override;

  const QString& command() const { return command_; }
  bool isEnabled() const { return enabled_; }
  /// Whether the part of the window that made it has the keyboard.
  bool isInFocus() const;

 Q_SIGNALS:
  void changed();
  void triggered();

 private:
  QString command_;
  bool enabled_ = true;
};

}  // namespace ravant::desktop
