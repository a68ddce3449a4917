#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <filesystem>
#include <optional>
#include <string>

#include "app/locations.hpp"
#include "core/store/store_backups.hpp"

namespace ravant::desktop {

/// What is told and offered where the program cannot be started with its store or its settings.
///
/// On the interface thread, outlived by nothing that it begins.
class StartTrouble : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("belongs to the start")
  /// Empty where the reason names it.
  Q_PROPERTY(QString place READ place NOTIFY changed)
  Q_PROPERTY(bool hasFolder READ hasFolder CONSTANT)
  Q_PROPERTY(QString reason READ reason NOTIFY changed)
  /// What there is to open instead, in words; empty while that is not known, or where it is no help.
  Q_PROPERTY(QString backupWords READ backupWords NOTIFY changed)
  Q_PROPERTY(bool hasBackup READ hasBackup NOTIFY changed)
  Q_PROPERTY(bool isBusy READ isBusy NOTIFY changed)

 public:
  enum class Decision { quit, tryAgain };

  StartTrouble(Locations locations, const std::exception& error);
  ~StartTrouble() override;

  QString place() const;
  bool hasFolder() const { return hasFolder_; }
  const QString& reason() const { return reason_; }
  const QString& backupWords() const { return backupWords_; }
  bool hasBackup() const { return backup_.has_value(); }
  bool isBusy() const { return isBusy_; }

  Q_INVOKABLE void restore();
  Q_INVOKABLE void showFolder();
  Q_INVOKABLE void tryAgain() { Q_EMIT decided(Decision::tryAgain); }
  Q_INVOKABLE void quit() { Q_EMIT decided(Decision::quit); }

 Q_SIGNALS:
  void changed();
  void decided(ravant::desktop::StartTrouble::Decision decision);

 private:
  void lookForBackups();
  void show(std::optional<StoreBackup> backup);

  Locations locations_;
  std::filesystem::path place_;
  bool hasFolder_;
  QString reason_;
  QString backupWords_;
  std::optional<StoreBackup> backup_;
  bool isBusy_ = false;
};

}  // namespace ravant::desktop
